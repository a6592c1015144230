// The rack on SoftHSM2: readers with cards of their own, which are changed while programs work.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "cryptoki/cryptoki.h"
#include "platform/DynamicLibrary.h"
#include "platform/Process.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

std::string utf8Of(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

template <std::size_t Size>
std::string textOf(const CK_UTF8CHAR (&field)[Size]) {
    const std::string text(field, field + Size);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

CK_UTF8CHAR* bytesOf(std::string& text) {
    return reinterpret_cast<CK_UTF8CHAR*>(text.data());
}

class Rack : public testing::Test {
protected:
    void SetUp() override {
        if (!fs::exists(SOFTHSM_MODULE)) {
            GTEST_SKIP() << "SoftHSM2 is not there (" << SOFTHSM_MODULE << ")";
        }
        m_folder = fs::temp_directory_path() / ("zel-rack-" + std::to_string(std::random_device()()));
        fs::create_directories(m_folder / "readers");
        fs::create_directories(m_folder / "cards");
        platform::setEnvironmentVariable("RACK_FOLDER", utf8Of(m_folder / "readers"));
        platform::setEnvironmentVariable("RACK_MODULE", SOFTHSM_MODULE);
        platform::setEnvironmentVariable("RACK_DELAY", "0");
    }

    void TearDown() override {
        if (m_functions != nullptr) {
            m_functions->C_Finalize(nullptr);
        }
        m_library.unload();
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }

    void addReader(const std::string& folder, const std::string& name) const {
        fs::create_directory(m_folder / "readers" / folder);
        std::ofstream(m_folder / "readers" / folder / "name") << name << "\n";
    }

    /// Puts a card into the reader, a blank one at its first time; "": takes it out.
    void insert(const std::string& folder, const std::string& card) const {
        const fs::path store = m_folder / "cards" / card;
        fs::create_directories(store);
        const fs::path file = m_folder / "readers" / folder / "card";
        const fs::path written = file.string() + ".new";
        std::ofstream(written) << (card.empty() ? "" : utf8Of(store)) << "\n";
        fs::rename(written, file);
    }

    void removeCard(const std::string& card) const { fs::remove_all(m_folder / "cards" / card); }
    void unplug(const std::string& folder) const { fs::remove(m_folder / "readers" / folder / "name"); }

    void start() {
        const std::string program = platform::executablePath();
        const fs::path file = fs::path(program).parent_path() / RACK;
        m_library = platform::DynamicLibrary::load(file.wstring().c_str());
        ASSERT_TRUE(m_library.isLoaded()) << platform::DynamicLibrary::lastError();
        auto* const get = reinterpret_cast<CK_C_GetFunctionList>(m_library.symbol("C_GetFunctionList"));
        ASSERT_EQ(get(&m_functions), CKR_OK);
        ASSERT_EQ(m_functions->C_Initialize(nullptr), CKR_OK);
    }

    [[nodiscard]] CK_FUNCTION_LIST& functions() const { return *m_functions; }

    [[nodiscard]] std::vector<CK_SLOT_ID> slots(CK_BBOOL onlyWithCard) const {
        CK_ULONG count = 0;
        EXPECT_EQ(functions().C_GetSlotList(onlyWithCard, nullptr, &count), CKR_OK);
        std::vector<CK_SLOT_ID> list(count + 1);
        ++count;
        EXPECT_EQ(functions().C_GetSlotList(onlyWithCard, list.data(), &count), CKR_OK);
        list.resize(count);
        return list;
    }

    [[nodiscard]] std::vector<std::string> readers() const {
        std::vector<std::string> names;
        for (const CK_SLOT_ID slot : slots(CK_FALSE)) {
            CK_SLOT_INFO info = {};
            EXPECT_EQ(functions().C_GetSlotInfo(slot, &info), CKR_OK);
            names.push_back(textOf(info.slotDescription) +
                            ((info.flags & CKF_TOKEN_PRESENT) != 0 ? " with a card" : ""));
        }
        return names;
    }

    [[nodiscard]] CK_RV makeToken(CK_SLOT_ID slot, const std::string& label) const {
        std::string pin = "12345678";
        std::string padded = label;
        padded.resize(32, ' ');
        return functions().C_InitToken(slot, bytesOf(pin), static_cast<CK_ULONG>(pin.size()), bytesOf(padded));
    }

    /// Label and serial of the card; "blank" for one that is not initialised.
    [[nodiscard]] std::string cardIn(CK_SLOT_ID slot) const {
        CK_TOKEN_INFO info = {};
        if (const CK_RV rv = functions().C_GetTokenInfo(slot, &info); rv != CKR_OK) {
            return "error " + std::to_string(rv);
        }
        return (info.flags & CKF_TOKEN_INITIALIZED) == 0 ? "blank"
                                                         : textOf(info.label) + " " + textOf(info.serialNumber);
    }

    [[nodiscard]] CK_SESSION_HANDLE open(CK_SLOT_ID slot) const {
        CK_SESSION_HANDLE session = 0;
        EXPECT_EQ(functions().C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session), CKR_OK);
        return session;
    }

    [[nodiscard]] CK_RV useSession(CK_SESSION_HANDLE session) const {
        CK_SESSION_INFO info = {};
        return functions().C_GetSessionInfo(session, &info);
    }

private:
    fs::path m_folder;
    platform::DynamicLibrary m_library;
    CK_FUNCTION_LIST* m_functions = nullptr;
};

TEST_F(Rack, showsItsReadersByTheirNames) {
    addReader("1", "Reader A");
    addReader("2", "Reader B");
    addReader("3", "Reader C");
    insert("2", "card");
    start();
    EXPECT_THAT(readers(), ElementsAre("Reader A", "Reader B with a card", "Reader C"));
    EXPECT_THAT(slots(CK_TRUE), ElementsAre(1));
    unplug("1");
    EXPECT_THAT(readers(), ElementsAre("Reader B with a card", "Reader C"));
    EXPECT_EQ(cardIn(0), "error " + std::to_string(CKR_SLOT_ID_INVALID));
    EXPECT_EQ(cardIn(2), "error " + std::to_string(CKR_TOKEN_NOT_PRESENT));
}

TEST_F(Rack, keepsTheCardsOfItsReadersApart) {
    addReader("1", "Reader A");
    addReader("2", "Reader B");
    insert("1", "first");
    insert("2", "second");
    start();
    EXPECT_EQ(cardIn(0), "blank");
    EXPECT_EQ(makeToken(0, "Ada"), CKR_OK);
    EXPECT_EQ(cardIn(1), "blank");
    EXPECT_EQ(makeToken(1, "Grace"), CKR_OK);
    EXPECT_TRUE(cardIn(0).starts_with("Ada "));
    EXPECT_TRUE(cardIn(1).starts_with("Grace "));
    // A slot has one card, also after it has been initialised.
    EXPECT_THAT(slots(CK_TRUE), ElementsAre(0, 1));
}

TEST_F(Rack, changesACardWhenItsFileNamesAnother) {
    addReader("1", "Reader A");
    insert("1", "first");
    start();
    ASSERT_EQ(makeToken(0, "Ada"), CKR_OK);
    const std::string first = cardIn(0);
    const CK_SESSION_HANDLE session = open(0);
    EXPECT_EQ(useSession(session), CKR_OK);

    insert("1", "second");
    EXPECT_EQ(useSession(session), CKR_DEVICE_REMOVED);
    EXPECT_EQ(cardIn(0), "blank");
    ASSERT_EQ(makeToken(0, "Grace"), CKR_OK);
    const CK_SESSION_HANDLE other = open(0);
    EXPECT_NE(other, session);
    EXPECT_EQ(useSession(other), CKR_OK);

    insert("1", "first");
    EXPECT_EQ(cardIn(0), first);
    EXPECT_EQ(useSession(other), CKR_DEVICE_REMOVED);
    insert("1", "");
    EXPECT_EQ(cardIn(0), "error " + std::to_string(CKR_TOKEN_NOT_PRESENT));
    EXPECT_EQ(functions().C_CloseSession(session), CKR_DEVICE_REMOVED);
    EXPECT_EQ(functions().C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(Rack, showsNoCardWhereItsStoreIsGone) {
    addReader("1", "Reader A");
    insert("1", "first");
    removeCard("first");
    start();
    EXPECT_THAT(readers(), ElementsAre("Reader A"));
}

TEST_F(Rack, isUsedByManyThreadsWhileCardsAreChanged) {
    constexpr std::size_t kReaders = 4;
    for (std::size_t i = 0; i < kReaders; ++i) {
        addReader(std::to_string(i), "Reader " + std::to_string(i));
        insert(std::to_string(i), "card " + std::to_string(i));
    }
    start();
    std::vector<std::thread> threads;
    for (CK_SLOT_ID slot = 0; slot < kReaders; ++slot) {
        threads.emplace_back([this, slot] {
            for (int round = 0; round < 5; ++round) {
                insert(std::to_string(slot), "card " + std::to_string(slot) + " " + std::to_string(round));
                const std::string label = "L" + std::to_string(slot) + "-" + std::to_string(round);
                EXPECT_EQ(makeToken(slot, label), CKR_OK);
                const CK_SESSION_HANDLE session = open(slot);
                EXPECT_EQ(useSession(session), CKR_OK);
                EXPECT_TRUE(cardIn(slot).starts_with(label + " ")) << cardIn(slot);
                EXPECT_EQ(functions().C_CloseSession(session), CKR_OK);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(Rack, letsCallsWaitSideBySide) {
    constexpr std::size_t kReaders = 8;
    for (std::size_t i = 0; i < kReaders; ++i) {
        addReader(std::to_string(i), "Reader " + std::to_string(i));
        insert(std::to_string(i), "card " + std::to_string(i));
    }
    platform::setEnvironmentVariable("RACK_DELAY", "100");
    start();
    const auto timeOf = [this](std::size_t readers) {
        const auto begin = std::chrono::steady_clock::now();
        std::vector<std::thread> threads;
        for (CK_SLOT_ID slot = 0; slot < readers; ++slot) {
            threads.emplace_back([this, slot] {
                for (int i = 0; i < 5; ++i) {
                    EXPECT_EQ(cardIn(slot), "blank");
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        return std::chrono::steady_clock::now() - begin;
    };
    // One after the other, they would take eight times as long.
    EXPECT_LT(timeOf(kReaders), timeOf(1) * 4);
}

} // namespace
