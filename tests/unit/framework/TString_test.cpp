#include "zel/TString.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Formatted.h"

using Zel::TString;

namespace {

constexpr std::size_t kInlineCapacity = 23;

const std::wstring kLong(100, L'L');

bool isZero(const wchar_t* text, std::size_t length) {
    return std::all_of(text, text + length, [](wchar_t character) { return character == 0; });
}

} // namespace

TEST(TString, IsEmptyAtFirst) {
    const TString text;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.length(), 0U);
    EXPECT_STREQ(text.c_str(), L"");
    EXPECT_EQ(text.data(), text.c_str());
}

TEST(TString, IsMadeFromCharacters) {
    EXPECT_STREQ(TString(L"abc").c_str(), L"abc");
    EXPECT_STREQ(TString(L"abc", -1).c_str(), L"abc");
    EXPECT_STREQ(TString(L"abc", 2).c_str(), L"ab");
    EXPECT_STREQ(TString(L"abc", 0).c_str(), L"");
    EXPECT_STREQ(TString(nullptr).c_str(), L"");
    EXPECT_STREQ(TString(nullptr, 5).c_str(), L"");
    EXPECT_EQ(TString(L"a\0b", 3).length(), 3U);
    EXPECT_EQ(modelOf(TString(kLong.c_str())), kLong);
}

TEST(TString, KeepsTheTerminatorAtEveryLength) {
    for (std::size_t length = 0; length < 80; ++length) {
        const std::wstring model(length, L'x');
        const TString text(model.c_str());
        EXPECT_EQ(text.length(), length);
        EXPECT_EQ(text.c_str()[length], 0);
        EXPECT_EQ(modelOf(text), model);
    }
}

TEST(TString, CopiesAreIndependent) {
    for (const wchar_t* source : {L"short", kLong.c_str()}) {
        TString original(source);
        const TString copy(original);
        TString assigned(L"before");
        assigned = original;
        original = L"changed";
        EXPECT_STREQ(copy.c_str(), source);
        EXPECT_STREQ(assigned.c_str(), source);
    }
}

TEST(TString, CopiesOfALongTextShareItUntilOneChanges) {
    const TString original(kLong.c_str());
    const auto changed = [&original](auto change) {
        TString copy = original;
        EXPECT_EQ(copy.data(), original.data());
        change(copy);
        EXPECT_NE(copy.data(), original.data());
        EXPECT_EQ(std::wstring(original.c_str()), kLong);
        return std::wstring(copy.c_str(), copy.length());
    };
    EXPECT_EQ(changed([](TString& copy) { copy.clear(); }), L"");
    EXPECT_EQ(changed([](TString& copy) { copy = L"short"; }), L"short");
    EXPECT_EQ(changed([](TString& copy) { copy = TString(L"other"); }), L"other");
    EXPECT_EQ(changed([](TString& copy) { copy.append(L"!"); }), kLong + L"!");
    EXPECT_EQ(changed([](TString& copy) { copy.append(copy); }), kLong + kLong);
    EXPECT_EQ(changed([](TString& copy) { copy = copy.data() + 90; }), std::wstring(10, L'L'));
    EXPECT_EQ(changed([](TString& copy) { copy = copy.data() + 50; }), std::wstring(50, L'L'));
    EXPECT_EQ(changed([](TString& copy) { copy.format(L"%ws%d", copy.c_str(), 7); }), kLong + L"7");
    EXPECT_EQ(changed([](TString& copy) { copy.appendFormat(L"%d", 7); }), kLong + L"7");
}

TEST(TString, OnlyTheLastOwnerOfALongTextWritesInIt) {
    TString text(kLong.c_str());
    const wchar_t* const place = text.data();
    { const TString copy = text; }
    text = L"short";
    EXPECT_EQ(text.data(), place);
    EXPECT_STREQ(text.c_str(), L"short");
    EXPECT_TRUE(isZero(place + 5, kLong.length() - 5));
}

TEST(TString, ALongTextOutlivesTheOneThatItWasCopiedFrom) {
    TString copy;
    {
        const TString original(kLong.c_str());
        copy = original;
    }
    EXPECT_EQ(std::wstring(copy.c_str()), kLong);
}

TEST(TString, CopiesOfALongTextMayBelongToDifferentThreads) {
    const TString original(kLong.c_str());
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([mine = original, &wrong] {
            for (int round = 0; round < 2000; ++round) {
                TString copy = mine;
                copy.append(L"!");
                wrong += copy.length() == kLong.length() + 1 && mine.length() == kLong.length() ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(std::wstring(original.c_str()), kLong);
}

TEST(TString, MovedFromIsEmpty) {
    for (const wchar_t* source : {L"short", kLong.c_str()}) {
        TString original(source);
        TString moved(std::move(original));
        EXPECT_STREQ(moved.c_str(), source);
        EXPECT_TRUE(original.empty()); // NOLINT(bugprone-use-after-move): that is what is tested
        TString assigned(kLong.c_str());
        assigned = std::move(moved);
        EXPECT_STREQ(assigned.c_str(), source);
        EXPECT_TRUE(moved.empty()); // NOLINT(bugprone-use-after-move)
        original = L"again";
        EXPECT_STREQ(original.c_str(), L"again");
    }
}

TEST(TString, AssignsItselfAndItsOwnCharacters) {
    for (const std::wstring& model : {std::wstring(L"short"), kLong}) {
        TString text(model.c_str());
        const TString& same = text;
        text = same;
        EXPECT_EQ(modelOf(text), model);
        TString& alias = text;
        text = std::move(alias);
        EXPECT_EQ(modelOf(text), model);
        text = text.c_str() + 2;
        EXPECT_EQ(modelOf(text), model.substr(2));
    }
}

TEST(TString, AppendsItsOwnCharacters) {
    for (const std::wstring& start : {std::wstring(L"ab"), std::wstring(L"twelve chars"), kLong}) {
        std::wstring model = start;
        TString text(model.c_str());
        for (int i = 0; i < 4; ++i) {
            text.append(text.c_str() + 1);
            model += model.substr(1);
            text.append(text);
            model += model;
            ASSERT_EQ(modelOf(text), model);
        }
    }
}

TEST(TString, AppendsByLength) {
    TString text(L"a");
    text.append(L"bcd", 2).append(L"e").append(nullptr).append(L"x", 0).append(TString(L"fg"));
    EXPECT_STREQ(text.c_str(), L"abcefg");
}

TEST(TString, FormatsWithItsOwnCharacters) {
    TString text(L"inner");
    text.format(L"<%ws|%ws>", text.c_str(), text.c_str());
    EXPECT_STREQ(text.c_str(), L"<inner|inner>");
    text.appendFormat(L"+%ws", text.c_str());
    EXPECT_STREQ(text.c_str(), L"<inner|inner>+<inner|inner>");
    TString grown(kLong.c_str());
    grown.appendFormat(L"%ws%ws%ws", grown.c_str(), grown.c_str(), grown.c_str());
    EXPECT_EQ(modelOf(grown), kLong + kLong + kLong + kLong);
}

TEST(TString, ComparesByCharacterValue) {
    const TString text(L"abc");
    EXPECT_EQ(text.compare(L"abc"), 0);
    EXPECT_EQ(text.compare(TString(L"abc")), 0);
    EXPECT_LT(text.compare(L"abd"), 0);
    EXPECT_GT(text.compare(L"abb"), 0);
    EXPECT_GT(text.compare(L"ab"), 0);
    EXPECT_LT(text.compare(L"abcd"), 0);
    EXPECT_GT(text.compare(L"ABC"), 0);
    EXPECT_GT(text.compare(static_cast<const wchar_t*>(nullptr)), 0);
    EXPECT_EQ(TString().compare(static_cast<const wchar_t*>(nullptr)), 0);
    EXPECT_TRUE(TString(L"a") < TString(L"b"));
    EXPECT_FALSE(TString(L"a") < TString(L"a"));
    EXPECT_TRUE(TString(L"a") == TString(L"a"));
    EXPECT_FALSE(TString(L"a") == TString(L"A"));
}

TEST(TString, ComparesWithoutCase) {
    const TString text(L"DllName");
    EXPECT_EQ(text.compareIgnoreCase(L"DLLNAME"), 0);
    EXPECT_EQ(text.compareIgnoreCase(TString(L"dllname")), 0);
    EXPECT_LT(text.compareIgnoreCase(L"dllnamf"), 0);
    EXPECT_GT(text.compareIgnoreCase(L"DLLNAM"), 0);
    EXPECT_LT(text.compareIgnoreCase(L"DLLNAME2"), 0);
    EXPECT_EQ(TString().compareIgnoreCase(static_cast<const wchar_t*>(nullptr)), 0);
    // '_' stands between the upper-case and the lower-case letters.
    EXPECT_LT(TString(L"_").compareIgnoreCase(L"A"), 0);
}

TEST(TString, Finds) {
    const TString text(L"one two one");
    EXPECT_EQ(text.find(L"one"), 0U);
    EXPECT_EQ(text.find(L"one", 1), 8U);
    EXPECT_EQ(text.find(L"three"), TString::npos);
    EXPECT_EQ(text.find(L"one", 9), TString::npos);
    EXPECT_EQ(text.find(L"one", 500), TString::npos);
    EXPECT_EQ(text.find(L"", 3), 3U);
    EXPECT_EQ(text.find(L"", 11), 11U);
    EXPECT_EQ(text.find(L"", 12), TString::npos);
}

TEST(TString, GivesParts) {
    const TString text(L"abcdef");
    EXPECT_STREQ(text.substr(2).c_str(), L"cdef");
    EXPECT_STREQ(text.substr(2, 3).c_str(), L"cde");
    EXPECT_STREQ(text.substr(4, 10).c_str(), L"ef");
    EXPECT_STREQ(text.substr(6).c_str(), L"");
    EXPECT_STREQ(text.substr(600).c_str(), L"");
    EXPECT_STREQ(text.substr(0, 0).c_str(), L"");
}

TEST(TString, IsFilledInItsPlace) {
    for (const TString::Content content : {TString::Content::Secret, TString::Content::Public}) {
        for (const std::size_t length : {std::size_t{0}, std::size_t{3}, kInlineCapacity, kInlineCapacity + 1}) {
            TString text(kLong.c_str());
            std::fill_n(text.fill(length, content), length, L'x');
            EXPECT_EQ(std::wstring(text.c_str()), std::wstring(length, L'x'));
            EXPECT_EQ(text.length(), length);
        }
    }
}

// What comes later may be a secret, and gets room that is wiped.
TEST(TString, NeverWritesIntoRoomForPublicCharacters) {
    for (const auto& change : {+[](TString& text) { text = L"secret"; }, +[](TString& text) { text.append(L"secret"); },
                               +[](TString& text) { text.format(L"%ws", L"secret"); },
                               +[](TString& text) {
                                   text.clear();
                                   text.append(L"secret");
                               }}) {
        TString text;
        std::fill_n(text.fill(1000, TString::Content::Public), 1000, L'x');
        const TString copy(text);
        const wchar_t* const place = text.data();
        change(text);
        EXPECT_NE(text.data(), place);
        EXPECT_EQ(std::wstring(copy.c_str()), std::wstring(1000, L'x'));
    }
}

TEST(TString, WipesClearedCharacters) {
    for (const std::wstring& secret : {std::wstring(L"1234"), kLong}) {
        TString text(secret.c_str());
        const wchar_t* const place = text.data();
        text.clear();
        EXPECT_TRUE(isZero(place, secret.length()));
        EXPECT_TRUE(text.empty());
        EXPECT_STREQ(text.c_str(), L"");
    }
}

TEST(TString, WipesWhatAShorterTextLeaves) {
    for (const std::wstring& secret : {std::wstring(L"123456789"), kLong}) {
        TString text(secret.c_str());
        const wchar_t* const place = text.data();
        text = L"ab";
        ASSERT_EQ(text.data(), place);
        EXPECT_TRUE(isZero(place + 2, secret.length() - 2));
        text = TString(secret.c_str());
        text.format(L"%d", 7);
        EXPECT_TRUE(isZero(text.data() + 1, kInlineCapacity - 1));
    }
}

TEST(TString, WipesItsOwnStorage) {
    const std::wstring secret(kInlineCapacity, L'S');
    const auto leftIn = [&](auto change) {
        alignas(TString) unsigned char storage[sizeof(TString)];
        std::memset(storage, 0, sizeof(storage));
        auto* const text = new (storage) TString(secret.c_str());
        change(*text);
        std::size_t count = 0;
        for (std::size_t i = 0; i + sizeof(wchar_t) <= sizeof(storage); i += alignof(wchar_t)) {
            wchar_t character = 0;
            std::memcpy(&character, storage + i, sizeof(character));
            count += character == L'S' ? 1 : 0;
        }
        return count;
    };
    EXPECT_EQ(leftIn([](TString&) {}), kInlineCapacity); // it is there at all: short texts live inside the object
    EXPECT_EQ(leftIn([](TString& text) { text.~TString(); }), 0U);
    EXPECT_EQ(leftIn([](TString& text) { TString(std::move(text)).clear(); }), 0U);
    // Characters that move to the heap leave nothing behind.
    EXPECT_EQ(leftIn([](TString& text) {
                  text.append(kLong.c_str());
                  text = TString();
              }),
              0U);
}

namespace {

/// Does the same to a text and to its model.
class TwinTexts {
public:
    explicit TwinTexts(unsigned int seed) : m_random(seed) {}

    void step() {
        switch (number(8)) {
        case 0:
            return set(word());
        case 1:
            m_text.append(m_argument = word());
            m_model += modelOf(m_argument);
            return;
        case 2:
            m_text.clear();
            m_model.clear();
            return;
        case 3: {
            const std::size_t from = number(m_model.length() + 1);
            const std::size_t count = number(20);
            m_text = m_text.substr(from, count);
            m_model = m_model.substr(from, count);
            return;
        }
        case 4: {
            const std::size_t from = number(m_model.length() + 1);
            m_text.append(m_text.c_str() + from);
            m_model += m_model.substr(from);
            return;
        }
        case 5:
            m_text.appendFormat(L"%ws%d", (m_argument = word()).c_str(), 17);
            m_model += modelOf(m_argument) + L"17";
            return;
        case 6:
            m_text.format(L"[%ws]", m_text.c_str());
            m_model = L"[" + m_model + L"]";
            return;
        default:
            m_text = TString(m_text).append(L"!");
            m_model += L"!";
            return;
        }
    }

    void compare() {
        ASSERT_EQ(modelOf(m_text), m_model);
        ASSERT_EQ(m_text.c_str()[m_model.length()], 0);
        const TString part = word();
        ASSERT_EQ(m_text.find(part, 3), m_model.find(modelOf(part), 3));
        const int expected = m_model.compare(modelOf(part));
        const int actual = m_text.compare(part);
        ASSERT_EQ(actual < 0, expected < 0);
        ASSERT_EQ(actual > 0, expected > 0);
    }

    void limit() {
        if (m_model.length() > 300) {
            set(L"");
        }
    }

private:
    std::size_t number(std::size_t below) { return std::uniform_int_distribution<std::size_t>(0, below - 1)(m_random); }
    TString word() {
        std::wstring text;
        for (std::size_t length = number(40); length > 0; --length) {
            text += static_cast<wchar_t>(L'a' + number(3));
        }
        return text.c_str();
    }
    void set(const TString& text) {
        m_text = text;
        m_model = modelOf(text);
    }

    std::mt19937 m_random;
    TString m_text;
    TString m_argument;
    std::wstring m_model;
};

} // namespace

TEST(TString, BehavesAsTheStandardString) {
    TwinTexts twins(20261121);
    for (int i = 0; i < 20000; ++i) {
        twins.step();
        ASSERT_NO_FATAL_FAILURE(twins.compare()) << "after step " << i;
        twins.limit();
    }
}
