// Readers are found by name in a long list, and each search costs little more the longer the list is.
#include "token/ReaderIndex.h"

#include <gtest/gtest.h>

#include "util/Conversions.h"

using namespace plugin;

namespace {

/// Counts how often a reader is looked at.
class WatchedReaders final : public Zel::Vector<CReader> {
public:
    CReader* at(std::uint32_t index) const override {
        ++looks;
        return Zel::Vector<CReader>::at(index);
    }
    mutable std::size_t looks = 0;
};

Zel::TString nameOf(std::uint32_t number) {
    return Binary2TStringHex(reinterpret_cast<const std::uint8_t*>(&number), sizeof number);
}

/// Readers of different names, in no order.
void fill(WatchedReaders& readers, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
        readers.add(CReader(nameOf(i * 2654435761U), i));
    }
}

/// What it takes to ask for every reader of a list in turn.
std::size_t looksFor(std::uint32_t count) {
    WatchedReaders readers;
    fill(readers, count);
    ReaderIndex index;
    EXPECT_TRUE(index.reserve(count));
    for (std::uint32_t i = 0; i < count; ++i) {
        const CReader* const reader = index.find(readers, nameOf(i * 2654435761U));
        EXPECT_TRUE(reader != nullptr && reader->slotID() == i) << i;
    }
    return readers.looks;
}

TEST(ReaderIndex, askingForEachReaderGrowsAsTheListDoes) {
    const std::size_t some = looksFor(2000);
    EXPECT_GT(some, 2000U) << "the count sees nothing";
    EXPECT_LT(looksFor(4000), some * 5 / 2);
}

TEST(ReaderIndex, ofEqualNamesTheFirstInTheListIsFoundWhateverItsCase) {
    WatchedReaders readers;
    for (CK_SLOT_ID i = 0; i < 100; ++i) {
        readers.add(CReader(i % 2 == 0 ? L"4B" : L"4C", i));
    }
    ReaderIndex index;
    ASSERT_TRUE(index.reserve(100));
    EXPECT_EQ(index.find(readers, L"4B"), readers.at(0));
    EXPECT_EQ(index.find(readers, L"4c"), readers.at(1));
}

TEST(ReaderIndex, otherNamesAreNotFound) {
    WatchedReaders readers;
    ReaderIndex index;
    EXPECT_EQ(index.find(readers, L"4B"), nullptr);
    ASSERT_TRUE(index.reserve(2));
    readers.add(CReader(L"4B", 1));
    readers.add(CReader(L"4D", 2));
    for (const wchar_t* name : {L"", L"4", L"4A", L"4B4B", L"4C", L"4E"}) {
        EXPECT_EQ(index.find(readers, name), nullptr) << Zel::TString(name).length();
    }
}

TEST(ReaderIndex, aNewListIsOrderedAnew) {
    ReaderIndex index;
    for (const wchar_t* name : {L"4B", L"4C"}) {
        WatchedReaders readers;
        ASSERT_TRUE(index.reserve(1));
        readers.add(CReader(name, 1));
        EXPECT_EQ(index.find(readers, name), readers.at(0));
    }
}

TEST(ReaderIndex, aListCutShortByMissingMemoryIsSearchedAsFarAsItGoes) {
    WatchedReaders readers;
    ReaderIndex index;
    ASSERT_TRUE(index.reserve(3));
    readers.add(CReader(L"4B", 1));
    EXPECT_EQ(index.find(readers, L"4B"), readers.at(0));
    EXPECT_EQ(index.find(readers, L"4C"), nullptr);
}

} // namespace
