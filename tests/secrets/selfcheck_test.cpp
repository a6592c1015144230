#include "tests/secrets/Heap.h"
#include "tests/secrets/Registers.h"
#include "tests/secrets/Tracing.h"
#include "tests/secrets/Watch.h"
#include "tests/secrets/lazy/Lazy.h"

#include "ry/rylog.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>

using namespace Secrets;

// A scan that saw nothing would pass every other test. Each of these leaves a secret somewhere and expects it found.

namespace {

constexpr const char* kPin = "planted!";
constexpr const wchar_t* kPinHex = L"706C616E74656421";

class SelfCheck : public ::testing::Test {
protected:
    /// What is found when `operation` runs.
    std::vector<std::string> findingsOf(
        const std::function<void()>& operation,
        const std::function<std::vector<Range>()>& kept = [] { return std::vector<Range>(); }) {
        m_watch.run("planting", operation, kept);
        return m_watch.takeFindings();
    }

    const std::vector<Secret>& m_secrets = secrets();
    Needles m_needles{m_secrets};
    Watch m_watch{m_needles};

private:
    static const std::vector<Secret>& secrets() {
        const Heap::Unwatched unwatched;
        static const auto* const s_secrets =
            new std::vector<Secret>{{"the PIN", Kind::Pin, kPin, true}, {"the value", Kind::Value, "a value.", false}};
        return *s_secrets;
    }
};

char* volatile g_pBlock = nullptr;
char g_data[64];

/// Leaves a copy on the stack that nobody wipes.
[[gnu::noinline]] void leaveOnStack() {
    char copy[100];
    std::strcpy(copy + 20, kPin);
    asm volatile("" : : "r"(copy) : "memory");
}

/// The PIN as often as a vector register holds it. It is a constant, and those are not searched.
constexpr Vector512 kPins = [] {
    Vector512 pins{};
    for (std::size_t at = 0; at < pins.size(); ++at) {
        pins[at] = static_cast<std::byte>(kPin[at % 8]);
    }
    return pins;
}();

template <class Character>
void copyText(void* target, const wchar_t* text) {
    for (auto* to = static_cast<Character*>(target); *text != 0; ++text) {
        *to++ = static_cast<Character>(*text);
    }
}

} // namespace

TEST_F(SelfCheck, FindsNothingWhereThereIsNothing) {
    EXPECT_EQ(findingsOf([] { std::free(std::malloc(100)); }), std::vector<std::string>());
}

TEST_F(SelfCheck, FindsBytesInABlockThatIsGivenBack) {
    const std::vector<std::string> findings = findingsOf([] {
        g_pBlock = static_cast<char*>(std::calloc(100, 1));
        std::memcpy(g_pBlock + 33, kPin, 8);
        std::free(g_pBlock);
    });
    EXPECT_EQ(findings, std::vector<std::string>{"planting: in a block that was given back of 100 bytes at 33: the PIN "
                                                 "as bytes"});
}

TEST_F(SelfCheck, FindsWhatAnArrayLeavesBehind) {
    const std::vector<std::string> findings = findingsOf([] {
        g_pBlock = new char[50]();
        std::memcpy(g_pBlock, kPin, 8);
        delete[] g_pBlock;
    });
    EXPECT_EQ(findings,
              std::vector<std::string>{"planting: in a block that was given back of 50 bytes at 0: the PIN as "
                                       "bytes"});
}

TEST_F(SelfCheck, FindsTextInALiveBlock) {
    const std::vector<std::string> findings = findingsOf([] {
        g_pBlock = static_cast<char*>(std::calloc(100, 1));
        copyText<char16_t>(g_pBlock + 4, kPinHex);
    });
    EXPECT_EQ(findings, std::vector<std::string>{"planting: in a live block of 100 bytes at 4: the PIN as UTF-16 "
                                                 "hexadecimal text"});
    std::memset(g_pBlock, 0, 100);
    std::free(g_pBlock);
}

TEST_F(SelfCheck, FindsBytesOnTheStack) {
    const std::vector<std::string> findings = findingsOf(&leaveOnStack);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_NE(findings[0].find("in the stack"), std::string::npos) << findings[0];
}

TEST_F(SelfCheck, FindsBytesInTheDataOfTheProgram) {
    const std::vector<std::string> findings = findingsOf([] { std::memcpy(g_data, kPin, 8); });
    std::memset(g_data, 0, sizeof g_data);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_NE(findings[0].find("in the data of a library"), std::string::npos) << findings[0];
}

TEST_F(SelfCheck, FindsBytesOfRegistersOnTheStack) {
    const std::vector<std::string> findings = findingsOf([] {
        fillVectorRegisters(kPins);
        leaveVectorRegistersOnStack();
    });
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_NE(findings[0].find("in the stack"), std::string::npos) << findings[0];
}

TEST_F(SelfCheck, TakesNothingForTheOperationsThatWasInRegistersBefore) {
    const std::function<void()> operation = &leaveVectorRegistersOnStack;
    fillVectorRegisters(kPins);
    EXPECT_EQ(findingsOf(operation), std::vector<std::string>());
}

TEST_F(SelfCheck, LeavesNothingInRegistersBehindASearch) {
    const std::vector<std::string> findings = findingsOf([] {
        // Long enough for the search to compare it in a vector register.
        g_pBlock = static_cast<char*>(std::calloc(100, 1));
        copyText<char32_t>(g_pBlock, kPinHex);
        std::free(g_pBlock);
        leaveVectorRegistersOnStack();
    });
    EXPECT_EQ(findings, std::vector<std::string>{"planting: in a block that was given back of 100 bytes at 0: the PIN "
                                                 "as UTF-32 hexadecimal text"});
}

TEST_F(SelfCheck, BindsAllFunctionsAtLoad) {
    const std::vector<std::string> findings = findingsOf([] {
        fillVectorRegisters(kPins);
        (void)callAnotherLibrary();
    });
    EXPECT_EQ(findings, std::vector<std::string>());
}

TEST_F(SelfCheck, ForgivesWhatIsKeptByRightAndThereAlone) {
    const auto plant = [] {
        g_pBlock = static_cast<char*>(std::calloc(200, 1));
        std::memcpy(g_pBlock, kPin, 8);
    };
    EXPECT_EQ(findingsOf(plant, [] { return std::vector<Range>{{g_pBlock, 64}}; }), std::vector<std::string>());
    // Another form in the same place is none of the kept ones.
    std::wcscpy(reinterpret_cast<wchar_t*>(g_pBlock), kPinHex);
    std::vector<std::string> findings = findingsOf([] {}, [] { return std::vector<Range>{{g_pBlock, 64}}; });
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_NE(findings[0].find("the PIN as UTF-32 hexadecimal text"), std::string::npos);
    // And the same form in another place is not kept there.
    std::memset(g_pBlock, 0, 200);
    std::memcpy(g_pBlock + 100, kPin, 8);
    EXPECT_EQ(findingsOf([] {}, [] { return std::vector<Range>{{g_pBlock, 64}}; }).size(), 1U);
    std::memset(g_pBlock, 0, 200);
    std::free(g_pBlock);
}

TEST_F(SelfCheck, FindsPinsInATraceButNotOtherValues) {
    for (const Listener listener : {Listener::Receiver, Listener::JsonFile}) {
        {
            const Tracing tracing(m_watch, listener);
            rylogLog(L"TEST", 1, L"it is %ws", kPinHex);
            rylogLogBin(L"TEST", 1, "a value.", 8, L"told");
        }
        std::vector<std::string> findings = m_watch.takeFindings();
        std::erase_if(findings,
                      [](const std::string& finding) { return finding.find("in the trace") == std::string::npos; });
        ASSERT_EQ(findings.size(), 1U);
        EXPECT_NE(findings[0].find("the PIN as hexadecimal text"), std::string::npos) << findings[0];
    }
}

TEST_F(SelfCheck, FailsTheAllocationThatIsToFail) {
    Heap::failAllocation(2);
    void* const first = std::malloc(10);
    void* const second = std::malloc(10);
    void* const third = std::malloc(10);
    EXPECT_TRUE(Heap::failAllocation(0));
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    std::free(first);
    std::free(third);
    EXPECT_FALSE(Heap::failAllocation(0));
}

TEST_F(SelfCheck, FailsWhatFollowsToo) {
    Heap::failAllocation(2, Heap::Shortage::Lasting);
    void* const first = std::malloc(10);
    void* const second = std::malloc(10);
    void* plentiful = nullptr;
    {
        const Heap::Plenty plenty;
        plentiful = std::malloc(10);
    }
    void* const third = std::malloc(10);
    EXPECT_TRUE(Heap::failAllocation(0));
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(plentiful, nullptr);
    EXPECT_EQ(third, nullptr);
    std::free(first);
    std::free(plentiful);
}

TEST_F(SelfCheck, CountsTheBlocksThatLive) {
    const unsigned long before = Heap::liveBlocks();
    g_pBlock = static_cast<char*>(std::malloc(10));
    EXPECT_EQ(Heap::liveBlocks(), before + 1);
    std::free(g_pBlock);
    EXPECT_EQ(Heap::liveBlocks(), before);
}
