#include "platform/posix/VersionRecord.h"

#include <gtest/gtest.h>

#include "platform/VersionResource.h"

namespace {

using platform::VersionRecord;
using Version = std::array<std::uint32_t, 4>;

std::optional<Version> versionOf(const std::string& text) {
    const auto record = VersionRecord::parse("zel-version 1\nTranslation=040904b0\nFileVersion=" + text + "\n");
    EXPECT_TRUE(record) << text;
    return record ? record->fileVersion() : std::nullopt;
}

TEST(VersionRecord, GivesItsValues) {
    const std::string section = "zel-version 1\nFileVersion=1.2.3.4\nTranslation=040904B0\nInternalName=a=b\n"
                                "Empty=\nInternalName=second\n";
    const auto record = VersionRecord::parse(section);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->translation(), 0x040904B0U);
    EXPECT_EQ(record->fileVersion(), (Version{1, 2, 3, 4}));
    EXPECT_EQ(record->value("InternalName"), "a=b");
    EXPECT_EQ(record->value("Empty"), "");
    EXPECT_EQ(record->value("internalname"), std::nullopt);
    EXPECT_EQ(record->value(""), std::nullopt);
}

TEST(VersionRecord, EndsAtTheFirstZeroByte) {
    const std::string section = "zel-version 1\nTranslation=040904b0\n" + std::string(2, 0) + "rubbish";
    EXPECT_TRUE(VersionRecord::parse(section));
}

TEST(VersionRecord, IsNothingWhenMalformed) {
    for (const char* section : {
             "",
             "zel-version 1",
             "zel-version 1\n",
             "zel-version 2\nTranslation=040904b0\n",
             "zel-version 1\nFileVersion=1.2.3.4\n",
             "zel-version 1\nTranslation=\n",
             "zel-version 1\nTranslation=40904b0\n",
             "zel-version 1\nTranslation=0040904b0\n",
             "zel-version 1\nTranslation=0x0904b0\n",
             "zel-version 1\nTranslation=0409 4b0\n",
             "zel-version 1\nTranslation=-40904b0\n",
             "zel-version 1\nTranslation=040904b0",
             "zel-version 1\nTranslation=040904b0\nno separator\n",
             "zel-version 1\nTranslation=040904b0\n\n",
             "zel-version 1\nTranslation=040904b0\n=no key\n",
             "zel-version 1\nTranslation=040904b0\nunfinished=",
         }) {
        EXPECT_FALSE(VersionRecord::parse(section)) << section;
    }
    EXPECT_FALSE(VersionRecord::parse("zel-version 1\nTranslation=040904b0\nLong=" + std::string(4096, 'x') + "\n"));
}

TEST(VersionRecord, TakesFourNumbersForAVersion) {
    EXPECT_EQ(versionOf("0.0.0.0"), (Version{0, 0, 0, 0}));
    EXPECT_EQ(versionOf("65535.65535.65535.65535"), (Version{65535, 65535, 65535, 65535}));
    for (const char* text : {"", "1", "1.2.3", "1.2.3.4.5", "1.2.3.", ".1.2.3", "1..2.3", "1.2.3.65536", "1.2.3.-4",
                             "1.2.3.+4", "1.2.3.4 ", " 1.2.3.4", "1.2.3.x", "1.2.3.99999999999"}) {
        EXPECT_EQ(versionOf(text), std::nullopt) << text;
    }
    const auto without = VersionRecord::parse("zel-version 1\nTranslation=040904b0\n");
    ASSERT_TRUE(without);
    EXPECT_EQ(without->fileVersion(), std::nullopt);
}

TEST(VersionRecord, IsNotInTheSystemsOwnLibraries) {
    EXPECT_FALSE(platform::VersionResource::open(L"libc.so.6"));
    EXPECT_FALSE(platform::VersionResource::open(L"/proc/self/exe"));
}

} // namespace
