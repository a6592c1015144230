#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cryptoki/Version3.h"
#include "platform/DynamicLibrary.h"
#include "tests/watch/module/Loud.h"

namespace tests {

using Json = nlohmann::json;

/// A folder of this test's own, removed when the object goes.
class Folder {
public:
    Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder();
    [[nodiscard]] std::string file(const std::string& name) const;

private:
    std::filesystem::path m_path;
};

[[nodiscard]] std::string contentOf(const std::string& file);
/// The lines of a record, each parsed.
[[nodiscard]] std::vector<Json> linesOf(const std::string& file);

/// p11watch in front of a module, both loaded for this test alone.
class WatchTest : public ::testing::Test {
protected:
    WatchTest();
    ~WatchTest() override;

    /// Loads p11watch and takes its function list, with the environment as it is now.
    CK_FUNCTION_LIST& load();
    [[nodiscard]] void* symbol(const char* name) const { return m_watch.symbol(name); }
    [[nodiscard]] std::vector<Json> lines() const { return linesOf(record); }
    /// The last line of the record.
    [[nodiscard]] Json line() const;

    Folder folder;
    std::string record = folder.file("record.jsonl");
    Loud::Control* loud = nullptr;

private:
    platform::DynamicLibrary m_module;
    platform::DynamicLibrary m_watch;
};

} // namespace tests
