#include "token/AttributeTemplate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/unit/HeapWatch.h"

using namespace plugin;

namespace {

static_assert(!std::is_copy_constructible_v<AttributeTemplate>);
static_assert(!std::is_copy_assignable_v<AttributeTemplate>);
static_assert(!std::is_move_constructible_v<AttributeTemplate>);

constexpr std::string_view kSecret = "prime-number-of-nobody-0123456789";

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string valueOf(const CK_ATTRIBUTE& entry) {
    return {static_cast<const char*>(entry.pValue), static_cast<std::size_t>(entry.ulValueLen)};
}

std::string numberText(CK_ULONG number) {
    std::string text(sizeof number, '\0');
    std::memcpy(text.data(), &number, sizeof number);
    return text;
}

std::vector<CK_ATTRIBUTE_TYPE> typesOf(AttributeTemplate& attributes) {
    std::vector<CK_ATTRIBUTE_TYPE> types;
    const CK_ATTRIBUTE* entries = attributes.entries();
    for (CK_ULONG i = 0; i < attributes.count(); ++i) {
        types.push_back(entries[i].type);
    }
    return types;
}

using Types = std::vector<CK_ATTRIBUTE_TYPE>;

/// Enough where a test is not about capacities.
constexpr std::size_t kRoom = 8;

TEST(AttributeTemplate, WithoutEntriesIsANullPointer) {
    AttributeTemplate attributes(kRoom);
    EXPECT_EQ(attributes.count(), 0U);
    EXPECT_EQ(attributes.entries(), nullptr);
    EXPECT_EQ(attributes.find(CKA_CLASS), std::nullopt);
}

TEST(AttributeTemplate, PresetTypesAreNoEntries) {
    AttributeTemplate attributes(kRoom, {CKA_CLASS, CKA_TOKEN});
    EXPECT_EQ(attributes.count(), 0U);
    EXPECT_EQ(attributes.entries(), nullptr);
    EXPECT_EQ(attributes.find(CKA_CLASS), std::nullopt);
}

TEST(AttributeTemplate, ABooleanIsOneByte) {
    AttributeTemplate attributes(kRoom);
    attributes.setBoolean(CKA_TOKEN, true);
    attributes.setBoolean(CKA_PRIVATE, false);
    const CK_ATTRIBUTE* entries = attributes.entries();
    ASSERT_EQ(attributes.count(), 2U);
    EXPECT_EQ(entries[0].type, CKA_TOKEN);
    EXPECT_EQ(valueOf(entries[0]), std::string("\1", 1));
    EXPECT_EQ(entries[1].type, CKA_PRIVATE);
    EXPECT_EQ(valueOf(entries[1]), std::string("\0", 1));
}

TEST(AttributeTemplate, ANumberHasTheLengthAndOrderOfTheMachine) {
    AttributeTemplate attributes(kRoom);
    attributes.setNumber(CKA_CLASS, CKO_PRIVATE_KEY);
    attributes.setNumber(CKA_MODULUS_BITS, 4096);
    const CK_ATTRIBUTE* entries = attributes.entries();
    ASSERT_EQ(attributes.count(), 2U);
    EXPECT_EQ(valueOf(entries[0]), numberText(3));
    EXPECT_EQ(valueOf(entries[1]), numberText(4096));
}

TEST(AttributeTemplate, OwnsACopyOfTheBytes) {
    AttributeTemplate attributes(kRoom);
    std::string source("a\0b", 3);
    attributes.setBytes(CKA_ID, bytesOf(source));
    source = "xyz";
    EXPECT_EQ(valueOf(attributes.entries()[0]), std::string("a\0b", 3));
}

TEST(AttributeTemplate, TakesABuffer) {
    AttributeTemplate attributes(kRoom);
    SecretBuffer buffer = SecretBuffer::copyOf(bytesOf("label"));
    const void* const memory = buffer.data();
    attributes.setBytes(CKA_LABEL, std::move(buffer));
    const CK_ATTRIBUTE& entry = attributes.entries()[0];
    EXPECT_EQ(entry.pValue, memory);
    EXPECT_EQ(valueOf(entry), "label");
}

TEST(AttributeTemplate, NoBytesAreAnEntryOfLengthZeroWithAPointer) {
    AttributeTemplate attributes(kRoom);
    attributes.setBytes(CKA_LABEL, SecretBuffer(0));
    attributes.setBytes(CKA_ID, std::span<const std::uint8_t>());
    const CK_ATTRIBUTE* entries = attributes.entries();
    ASSERT_EQ(attributes.count(), 2U);
    for (int i = 0; i < 2; ++i) {
        EXPECT_NE(entries[i].pValue, nullptr);
        EXPECT_EQ(entries[i].ulValueLen, 0U);
    }
}

TEST(AttributeTemplate, KeepsTheOrderInWhichEntriesCame) {
    AttributeTemplate attributes(kRoom, {CKA_VALUE, CKA_VALUE, CKA_VALUE});
    attributes.setBytes(CKA_ID, bytesOf("1"));
    attributes.setBoolean(CKA_SIGN, true);
    attributes.setNumber(CKA_KEY_TYPE, CKK_RSA);
    EXPECT_EQ(typesOf(attributes), (Types{CKA_ID, CKA_SIGN, CKA_KEY_TYPE}));
    EXPECT_EQ(attributes.find(CKA_ID), 0U);
    EXPECT_EQ(attributes.find(CKA_SIGN), 1U);
    EXPECT_EQ(attributes.find(CKA_KEY_TYPE), 2U);
    EXPECT_EQ(attributes.find(CKA_VALUE), std::nullopt);
}

TEST(AttributeTemplate, SettingAnAttributeOfTheHeadOverwritesItsEntry) {
    AttributeTemplate attributes(kRoom);
    attributes.setNumber(CKA_CLASS, CKO_PRIVATE_KEY);
    attributes.setBytes(CKA_ID, bytesOf("first"));
    attributes.setBoolean(CKA_TOKEN, true);
    attributes.endFixed();
    attributes.setNumber(CKA_CLASS, CKO_PUBLIC_KEY);
    attributes.setBytes(CKA_ID, bytesOf("2"));
    attributes.setBoolean(CKA_TOKEN, false);
    const CK_ATTRIBUTE* entries = attributes.entries();
    ASSERT_EQ(typesOf(attributes), (Types{CKA_CLASS, CKA_ID, CKA_TOKEN}));
    EXPECT_EQ(valueOf(entries[0]), numberText(2));
    EXPECT_EQ(valueOf(entries[1]), "2");
    EXPECT_EQ(valueOf(entries[2]), std::string("\0", 1));
}

TEST(AttributeTemplate, SettingAnotherAttributeAgainAppendsAnEntry) {
    AttributeTemplate attributes(kRoom);
    attributes.setNumber(CKA_CLASS, CKO_PRIVATE_KEY);
    attributes.endFixed();
    attributes.setBytes(CKA_ID, bytesOf("first"));
    attributes.setBoolean(CKA_TOKEN, true);
    attributes.setBytes(CKA_ID, bytesOf("2"));
    attributes.setBoolean(CKA_TOKEN, false);
    const CK_ATTRIBUTE* entries = attributes.entries();
    ASSERT_EQ(typesOf(attributes), (Types{CKA_CLASS, CKA_ID, CKA_TOKEN, CKA_ID, CKA_TOKEN}));
    EXPECT_EQ(valueOf(entries[1]), "first");
    EXPECT_EQ(valueOf(entries[2]), std::string("\1", 1));
    EXPECT_EQ(valueOf(entries[3]), "2");
    EXPECT_EQ(valueOf(entries[4]), std::string("\0", 1));
}

TEST(AttributeTemplate, AsLongAsTheHeadIsOpenEveryAttributeIsAppended) {
    AttributeTemplate attributes(kRoom);
    attributes.setNumber(CKA_CLASS, 1);
    attributes.setNumber(CKA_CLASS, 2);
    ASSERT_EQ(typesOf(attributes), (Types{CKA_CLASS, CKA_CLASS}));
    EXPECT_EQ(valueOf(attributes.entries()[0]), numberText(1));
    EXPECT_EQ(valueOf(attributes.entries()[1]), numberText(2));
}

TEST(AttributeTemplate, AHeadMayBeEmpty) {
    AttributeTemplate attributes(kRoom);
    attributes.endFixed();
    attributes.setNumber(CKA_CLASS, 1);
    attributes.setNumber(CKA_CLASS, 2);
    EXPECT_EQ(typesOf(attributes), (Types{CKA_CLASS, CKA_CLASS}));
}

TEST(AttributeTemplate, FindsTheLastEntryOfARepeatedAttribute) {
    AttributeTemplate attributes(kRoom);
    attributes.setBytes(CKA_ID, bytesOf("1"));
    attributes.setBytes(CKA_LABEL, bytesOf("l"));
    EXPECT_EQ(attributes.find(CKA_ID), 0U);
    attributes.setBytes(CKA_ID, bytesOf("2"));
    EXPECT_EQ(attributes.find(CKA_ID), 2U);
    EXPECT_EQ(attributes.find(CKA_LABEL), 1U);
    attributes.setWithoutValue(CKA_ID);
    EXPECT_EQ(attributes.find(CKA_ID), 3U);
}

TEST(AttributeTemplate, AnEntryOfTheHeadMayChangeItsForm) {
    AttributeTemplate attributes(kRoom);
    attributes.setBoolean(CKA_VALUE, true);
    attributes.endFixed();
    attributes.setBytes(CKA_VALUE, bytesOf("text"));
    EXPECT_EQ(valueOf(attributes.entries()[0]), "text");
    attributes.setNumber(CKA_VALUE, 7);
    EXPECT_EQ(valueOf(attributes.entries()[0]), numberText(7));
    EXPECT_EQ(attributes.count(), 1U);
}

TEST(AttributeTemplate, WhatFindsNoRoomIsLeftOut) {
    for (const CK_ULONG capacity : {1UL, 2UL, 8UL, 23UL}) {
        AttributeTemplate attributes(capacity);
        for (CK_ATTRIBUTE_TYPE type = 0; type < capacity + 5; ++type) {
            attributes.setNumber(CKA_VENDOR_DEFINED + type, type);
        }
        ASSERT_EQ(attributes.count(), capacity);
        EXPECT_EQ(valueOf(attributes.entries()[capacity - 1]), numberText(capacity - 1));
        EXPECT_EQ(attributes.find(CKA_VENDOR_DEFINED + capacity), std::nullopt);
    }
}

TEST(AttributeTemplate, HasNeverRoomForMoreThanTheGreatestCapacity) {
    AttributeTemplate attributes(AttributeTemplate::kCapacity + 1);
    for (CK_ATTRIBUTE_TYPE type = 0; type < 30; ++type) {
        attributes.setNumber(CKA_VENDOR_DEFINED + type, type);
    }
    EXPECT_EQ(attributes.count(), 23U);
}

TEST(AttributeTemplate, AFullTemplateStillTakesNewValuesForItsHead) {
    AttributeTemplate attributes(23);
    attributes.setBytes(CKA_ISSUER, bytesOf("old"));
    attributes.endFixed();
    for (CK_ATTRIBUTE_TYPE type = 1; type < 23; ++type) {
        attributes.setBytes(CKA_VENDOR_DEFINED + type, bytesOf("old"));
    }
    attributes.setBytes(CKA_ISSUER, bytesOf("new"));
    attributes.setBytes(CKA_VENDOR_DEFINED + 22, bytesOf("left out"));
    attributes.setBytes(CKA_ID, bytesOf("left out"));
    attributes.setBytes(CKA_ID, SecretBuffer::copyOf(bytesOf("left out")));
    attributes.setBoolean(CKA_TOKEN, true);
    attributes.setNumber(CKA_CLASS, 1);
    attributes.setWithoutValue(CKA_LABEL);
    ASSERT_EQ(attributes.count(), 23U);
    EXPECT_EQ(valueOf(attributes.entries()[0]), "new");
    EXPECT_EQ(valueOf(attributes.entries()[22]), "old");
    EXPECT_EQ(attributes.find(CKA_ID), std::nullopt);
}

TEST(AttributeTemplate, HasRoomUntilItIsFull) {
    AttributeTemplate attributes(3);
    attributes.setNumber(CKA_CLASS, 1);
    attributes.endFixed();
    EXPECT_TRUE(attributes.hasRoomFor(CKA_ID));
    attributes.setBytes(CKA_ID, bytesOf("1"));
    EXPECT_TRUE(attributes.hasRoomFor(CKA_ID));
    attributes.setBytes(CKA_ID, bytesOf("2"));
    EXPECT_FALSE(attributes.hasRoomFor(CKA_ID));
    EXPECT_FALSE(attributes.hasRoomFor(CKA_LABEL));
    EXPECT_TRUE(attributes.hasRoomFor(CKA_CLASS));
}

TEST(AttributeTemplate, ReservedPlacesAreNoRoomButCanBeSet) {
    AttributeTemplate attributes(4);
    attributes.setNumber(CKA_CLASS, 1);
    attributes.endFixed(2);
    EXPECT_TRUE(attributes.hasRoomFor(CKA_ID));
    attributes.setBytes(CKA_ID, bytesOf("1"));
    EXPECT_FALSE(attributes.hasRoomFor(CKA_LABEL));
    EXPECT_TRUE(attributes.hasRoomFor(CKA_CLASS));
    attributes.setNumber(CKA_MODULUS_BITS, 1024);
    attributes.setBoolean(CKA_TOKEN, true);
    attributes.setBoolean(CKA_PRIVATE, true);
    EXPECT_EQ(typesOf(attributes), (Types{CKA_CLASS, CKA_ID, CKA_MODULUS_BITS, CKA_TOKEN}));
}

TEST(AttributeTemplate, MoreReservedThanThereIsMeansNoRoom) {
    AttributeTemplate attributes(1);
    attributes.endFixed(2);
    EXPECT_FALSE(attributes.hasRoomFor(CKA_ID));
}

TEST(AttributeTemplate, AnUnwrittenEntryTakesRoomToo) {
    AttributeTemplate attributes(1, {CKA_SUBJECT});
    attributes.setWithoutValue(CKA_LABEL);
    EXPECT_FALSE(attributes.hasRoomFor(CKA_LABEL));
    attributes.setWithoutValue(CKA_LABEL);
    EXPECT_EQ(attributes.count(), 1U);
}

TEST(AttributeTemplate, AnUnwrittenEntryIsSentAsItsPlacesPresetType) {
    AttributeTemplate attributes(kRoom, {CKA_CLASS, CKA_SUBJECT, CKA_ID});
    attributes.setNumber(CKA_CLASS, 1);
    attributes.setWithoutValue(CKA_LABEL);
    attributes.setBytes(CKA_ISSUER, bytesOf("i"));
    const CK_ATTRIBUTE* entries = attributes.entries();
    ASSERT_EQ(typesOf(attributes), (Types{CKA_CLASS, CKA_SUBJECT, CKA_ISSUER}));
    EXPECT_EQ(entries[1].pValue, nullptr);
    EXPECT_EQ(entries[1].ulValueLen, 0U);
    EXPECT_TRUE(attributes.valueAt(1).empty());
}

TEST(AttributeTemplate, AnUnwrittenEntryIsFoundByWhatItWasMeantFor) {
    AttributeTemplate attributes(kRoom, {CKA_SUBJECT});
    attributes.setWithoutValue(CKA_LABEL);
    EXPECT_EQ(attributes.find(CKA_LABEL), 0U);
    EXPECT_EQ(attributes.find(CKA_SUBJECT), std::nullopt);
}

TEST(AttributeTemplate, AnUnwrittenEntryStaysSoWhenItsAttributeComesAgain) {
    AttributeTemplate attributes(kRoom, {CKA_SUBJECT, CKA_ISSUER, CKA_SERIAL_NUMBER});
    attributes.setWithoutValue(CKA_LABEL);
    attributes.setBytes(CKA_LABEL, bytesOf("late"));
    attributes.setWithoutValue(CKA_LABEL);
    const CK_ATTRIBUTE* entries = attributes.entries();
    ASSERT_EQ(typesOf(attributes), (Types{CKA_SUBJECT, CKA_LABEL, CKA_SERIAL_NUMBER}));
    EXPECT_EQ(entries[0].pValue, nullptr);
    EXPECT_EQ(valueOf(entries[1]), "late");
    EXPECT_EQ(entries[2].pValue, nullptr);
}

TEST(AttributeTemplate, AnEntryOfTheHeadMayBecomeUnwrittenAndBeWrittenAgain) {
    AttributeTemplate attributes(kRoom, {CKA_SUBJECT});
    attributes.setBytes(CKA_LABEL, bytesOf("first"));
    attributes.endFixed();
    attributes.setWithoutValue(CKA_LABEL);
    ASSERT_EQ(typesOf(attributes), Types{CKA_SUBJECT});
    EXPECT_EQ(attributes.entries()[0].pValue, nullptr);
    attributes.setBytes(CKA_LABEL, bytesOf("late"));
    ASSERT_EQ(typesOf(attributes), Types{CKA_LABEL});
    EXPECT_EQ(valueOf(attributes.entries()[0]), "late");
}

TEST(AttributeTemplate, HandsOutAFreshCopyEachTime) {
    AttributeTemplate attributes(kRoom);
    attributes.setBytes(CKA_ID, bytesOf("01"));
    CK_ATTRIBUTE* entries = attributes.entries();
    entries[0].type = CKA_LABEL;
    entries[0].pValue = nullptr;
    entries[0].ulValueLen = CK_UNAVAILABLE_INFORMATION;
    EXPECT_EQ(attributes.entries()[0].type, CKA_ID);
    EXPECT_EQ(valueOf(attributes.entries()[0]), "01");
    EXPECT_EQ(attributes.at(0).ulValueLen, 2U);
    EXPECT_EQ(attributes.valueAt(0).size(), 2U);
}

TEST(AttributeTemplate, ShowsOneEntry) {
    AttributeTemplate attributes(kRoom);
    attributes.setBytes(CKA_ID, bytesOf("ab"));
    attributes.setBoolean(CKA_TOKEN, true);
    EXPECT_EQ(attributes.at(0).type, CKA_ID);
    EXPECT_EQ(attributes.at(1).type, CKA_TOKEN);
    const std::span<const std::uint8_t> value = attributes.valueAt(0);
    EXPECT_EQ(std::string(value.begin(), value.end()), "ab");
    ASSERT_EQ(attributes.valueAt(1).size(), 1U);
    EXPECT_EQ(attributes.valueAt(1)[0], 1);
    EXPECT_THROW(static_cast<void>(attributes.at(AttributeTemplate::kCapacity)), std::out_of_range);
}

TEST(AttributeTemplate, WipesItsValuesWhenItGoes) {
    const HeapWatch watch(kSecret);
    {
        AttributeTemplate attributes(kRoom);
        attributes.setBytes(CKA_PRIME_1, bytesOf(kSecret));
        attributes.setBytes(CKA_PRIME_2, SecretBuffer::copyOf(bytesOf(kSecret)));
    }
    EXPECT_GE(watch.blocks(), 2U);
    EXPECT_EQ(watch.leaks(), 0U);
}

TEST(AttributeTemplate, WipesWhatItOverwritesAndWhatFindsNoRoom) {
    const HeapWatch watch(kSecret);
    AttributeTemplate attributes(kRoom);
    attributes.setBytes(CKA_PRIME_1, bytesOf(kSecret));
    attributes.endFixed();
    attributes.setBytes(CKA_PRIME_1, bytesOf("another"));
    EXPECT_GE(watch.blocks(), 1U);
    EXPECT_EQ(watch.leaks(), 0U);
    for (CK_ATTRIBUTE_TYPE type = 0; type < AttributeTemplate::kCapacity; ++type) {
        attributes.setBytes(CKA_VENDOR_DEFINED + type, bytesOf(kSecret));
    }
    attributes.setBytes(CKA_PRIME_2, SecretBuffer::copyOf(bytesOf(kSecret)));
    EXPECT_EQ(watch.leaks(), 0U);
}

} // namespace
