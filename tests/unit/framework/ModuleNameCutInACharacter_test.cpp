#include <string>

#include <gtest/gtest.h>

#include "ry/rylog.h"

// A module name longer than 255 bytes was cut in the middle of a character, so that every line that named it was
// neither UTF-8 nor JSON.

namespace {

/// The module's name as a message brings it.
std::string nameIn(const std::wstring& name) {
    std::string found = "no message";
    rylogSetReceiver(
        [](void* context, const RylogRecord* record) { *static_cast<std::string*>(context) = record->module; }, &found,
        1);
    rylogSetModuleName(name.c_str());
    rylogLog(nullptr, 1, L"message");
    rylogSetReceiver(nullptr, nullptr, 0);
    rylogSetModuleName(nullptr);
    return found;
}

TEST(ModuleNameCutInACharacter, keepsWholeCharacters) {
    const std::string before(254, 'a');
    const std::wstring wideBefore(254, L'a');
    EXPECT_EQ(nameIn(wideBefore + L"b"), before + "b");
    EXPECT_EQ(nameIn(wideBefore + L"bc"), before + "b");
    EXPECT_EQ(nameIn(wideBefore + L"\u00E9"), before);
    EXPECT_EQ(nameIn(std::wstring(253, L'a') + L"\u20AC"), std::string(253, 'a'));
    EXPECT_EQ(nameIn(std::wstring(252, L'a') + L"\u20AC" + L"b"), std::string(252, 'a') + "\xE2\x82\xAC");
    EXPECT_EQ(nameIn(std::wstring(252, L'a') + L"\U0001F600"), std::string(252, 'a'));
    EXPECT_EQ(nameIn(std::wstring(251, L'a') + L"\U0001F600"), std::string(251, 'a') + "\xF0\x9F\x98\x80");
}

} // namespace
