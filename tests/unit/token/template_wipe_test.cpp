// What a template leaves behind, where no heap would tell.

#include "tests/heap/Heap.h"
#include "token/AttributeTemplate.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>

using namespace plugin;

namespace {

constexpr std::size_t kSize = sizeof(AttributeTemplate);

/// The bytes where a template stood whose numbers all were `number`.
std::array<unsigned char, kSize> remainsOf(CK_ULONG number) {
    alignas(AttributeTemplate) static std::array<unsigned char, kSize> s_place;
    s_place.fill(0);
    auto* const attributes = new (s_place.data()) AttributeTemplate(AttributeTemplate::kCapacity);
    for (CK_ATTRIBUTE_TYPE type = 0; type < AttributeTemplate::kCapacity; ++type) {
        attributes->setNumber(type, number);
    }
    EXPECT_EQ(attributes->count(), AttributeTemplate::kCapacity);
    std::destroy_at(attributes);
    return s_place;
}

} // namespace

TEST(TemplateWipe, NothingThatStaysDependsOnTheNumbers) {
    EXPECT_EQ(remainsOf(0), remainsOf(static_cast<CK_ULONG>(-1)));
}

TEST(TemplateWipe, AValueGoesAtOnceWhenItsEntryBecomesUnwritten) {
    constexpr std::string_view secret = "a value that is not a value any more";
    AttributeTemplate attributes(2);
    attributes.setBytes(CKA_LABEL, {reinterpret_cast<const std::uint8_t*>(secret.data()), secret.size()});
    attributes.endFixed();
    const TestHeap::Watch watch(secret);
    attributes.setWithoutValue(CKA_LABEL);
    EXPECT_EQ(watch.blocks(), 1U);
    EXPECT_EQ(watch.leaks(), 0U);
}

TEST(TemplateWipe, TheLastPlaceHasAPresetTypeToo) {
    AttributeTemplate attributes(AttributeTemplate::kCapacity,
                                 {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23});
    for (CK_ATTRIBUTE_TYPE type = 0; type < AttributeTemplate::kCapacity; ++type) {
        attributes.setWithoutValue(100 + type);
    }
    EXPECT_EQ(attributes.at(21).type, 22U);
    EXPECT_EQ(attributes.at(22).type, 23U);
}
