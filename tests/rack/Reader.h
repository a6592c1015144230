#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "cryptoki/cryptoki.h"
#include "platform/DynamicLibrary.h"
#include "tests/rack/Calls.h"

namespace rack {

/// A reader of the rack: a folder, in which the file `name` holds the reader's name and the file `card` that of the
/// folder with the card's store. Without `name` the reader is unplugged, without `card` it is empty. In it stands a
/// copy of the module of its own, so that each reader has a module with its own state. The file `flags` holds further
/// flags of the token, as a number.
class Reader {
public:
    /// Copies the module into the folder and loads it. Throws std::runtime_error.
    Reader(std::filesystem::path folder, const std::filesystem::path& module);
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    /// Takes the card out.
    ~Reader();

    [[nodiscard]] bool isPlugged() const;
    [[nodiscard]] std::string name() const;
    [[nodiscard]] CK_FLAGS furtherFlags() const;
    [[nodiscard]] Calls& calls() noexcept { return m_calls; }
    [[nodiscard]] bool hasCard();

    /// Calls `call(functions, slot)` on the card in the reader; CKR_TOKEN_NOT_PRESENT without one.
    template <class Call>
    CK_RV onSlot(const Call& call) {
        follow();
        const std::shared_lock lock(m_mutex);
        return m_isIn ? call(*m_functions, m_slot) : CKR_TOKEN_NOT_PRESENT;
    }

    /// The same for a session that was opened when `card` was in the reader; CKR_DEVICE_REMOVED afterwards.
    template <class Call>
    CK_RV onCard(std::uint64_t card, const Call& call) {
        follow();
        const std::shared_lock lock(m_mutex);
        return m_isIn && m_card == card ? call(*m_functions) : CKR_DEVICE_REMOVED;
    }

    /// Counts the cards that were in the reader. Call it within onSlot.
    [[nodiscard]] std::uint64_t card() const noexcept { return m_card; }

private:
    /// Changes the card when the control file names another.
    void follow();
    void insert(const std::string& store);
    void remove();

    std::filesystem::path m_folder;
    Calls m_calls;
    platform::DynamicLibrary m_library;
    CK_FUNCTION_LIST* m_functions = nullptr;
    std::shared_mutex m_mutex; ///< calls share it; a change of the card waits for them
    std::string m_store;
    bool m_isIn = false;
    CK_SLOT_ID m_slot = 0;
    std::uint64_t m_card = 0;
};

/// The file from which SoftHSM2 reads where its store is: one for all readers, written anew before each card, because
/// the environment must not change while other threads read it.
void setConfigurationFile(const std::filesystem::path& file);

} // namespace rack
