#include "token/AttributeTemplate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/heap/Heap.h"

using namespace plugin;

namespace {

static_assert(!std::is_copy_constructible_v<AttributeTemplate>);
static_assert(!std::is_copy_assignable_v<AttributeTemplate>);
static_assert(!std::is_move_constructible_v<AttributeTemplate>);

constexpr std::string_view kPrime = "prime-number-of-nobody-0123456789";

std::span<const std::uint8_t> viewOf(std::string_view text) {
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

TEST(AttributeTemplate, OwnsACopyOfTheBytes) {
    AttributeTemplate attributes(kRoom);
    std::string source("a\0b", 3);
    attributes.setBytes(CKA_ID, viewOf(source));
    source = "xyz";
    EXPECT_EQ(valueOf(attributes.entries()[0]), std::string("a\0b", 3));
}

TEST(AttributeTemplate, TakesABuffer) {
    AttributeTemplate attributes(kRoom);
    SecretBuffer buffer = SecretBuffer::copyOf(viewOf("label"));
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

TEST(AttributeTemplate, AsLongAsTheHeadIsOpenEveryAttributeIsAppended) {
    AttributeTemplate attributes(kRoom);
    attributes.setNumber(CKA_CLASS, 1);
    attributes.setNumber(CKA_CLASS, 2);
    ASSERT_EQ(typesOf(attributes), (Types{CKA_CLASS, CKA_CLASS}));
    EXPECT_EQ(valueOf(attributes.entries()[0]), numberText(1));
    EXPECT_EQ(valueOf(attributes.entries()[1]), numberText(2));
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

TEST(AttributeTemplate, MoreReservedThanThereIsMeansNoRoom) {
    AttributeTemplate attributes(1);
    attributes.endFixed(2);
    EXPECT_FALSE(attributes.hasRoomFor(CKA_ID));
}

TEST(AttributeTemplate, AnUnwrittenEntryIsFoundByWhatItWasMeantFor) {
    AttributeTemplate attributes(kRoom, {CKA_SUBJECT});
    attributes.setWithoutValue(CKA_LABEL);
    EXPECT_EQ(attributes.find(CKA_LABEL), 0U);
    EXPECT_EQ(attributes.find(CKA_SUBJECT), std::nullopt);
}

TEST(AttributeTemplate, HandsOutAFreshCopyEachTime) {
    AttributeTemplate attributes(kRoom);
    attributes.setBytes(CKA_ID, viewOf("01"));
    CK_ATTRIBUTE* entries = attributes.entries();
    entries[0].type = CKA_LABEL;
    entries[0].pValue = nullptr;
    entries[0].ulValueLen = CK_UNAVAILABLE_INFORMATION;
    EXPECT_EQ(attributes.entries()[0].type, CKA_ID);
    EXPECT_EQ(valueOf(attributes.entries()[0]), "01");
    EXPECT_EQ(attributes.at(0).ulValueLen, 2U);
    EXPECT_EQ(attributes.valueAt(0).size(), 2U);
}

TEST(AttributeTemplate, WipesItsValuesWhenItGoes) {
    const TestHeap::Watch watch(kPrime);
    {
        AttributeTemplate attributes(kRoom);
        attributes.setBytes(CKA_PRIME_1, viewOf(kPrime));
        attributes.setBytes(CKA_PRIME_2, SecretBuffer::copyOf(viewOf(kPrime)));
    }
    EXPECT_GE(watch.blocks(), 2U);
    EXPECT_EQ(watch.leaks(), 0U);
}

TEST(AttributeTemplate, WipesWhatItOverwritesAndWhatFindsNoRoom) {
    const TestHeap::Watch watch(kPrime);
    AttributeTemplate attributes(kRoom);
    attributes.setBytes(CKA_PRIME_1, viewOf(kPrime));
    attributes.endFixed();
    attributes.setBytes(CKA_PRIME_1, viewOf("another"));
    EXPECT_GE(watch.blocks(), 1U);
    EXPECT_EQ(watch.leaks(), 0U);
    for (CK_ATTRIBUTE_TYPE type = 0; type < AttributeTemplate::kCapacity; ++type) {
        attributes.setBytes(CKA_VENDOR_DEFINED + type, viewOf(kPrime));
    }
    attributes.setBytes(CKA_PRIME_2, SecretBuffer::copyOf(viewOf(kPrime)));
    EXPECT_EQ(watch.leaks(), 0U);
}

} // namespace
