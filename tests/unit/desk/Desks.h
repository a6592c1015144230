#pragma once

#include <gtest/gtest.h>
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/desk/journal/Journal.h"

// Desks for tests: in a file of a temporary folder, or in a schema of its own on a server. tests/desk/journal starts a
// server and names it in DESK_TEST_SERVER; the tests run on a file without it.

namespace tests {

inline std::string serverUrl() {
    const char* const url = std::getenv("DESK_TEST_SERVER");
    return url == nullptr ? "" : url;
}

/// What the tests run on, for INSTANTIATE_TEST_SUITE_P.
inline std::vector<const char*> databases() {
    return {serverUrl().empty() ? "file" : "server"};
}

/// For tests that a server alone can serve.
inline std::vector<const char*> servers() {
    return serverUrl().empty() ? std::vector<const char*>() : databases();
}

/// Of the role "station" of that server, which has to give it.
inline std::string stationPassword() {
    const char* const password = std::getenv("DESK_TEST_PASSWORD");
    return password == nullptr ? "" : password;
}

inline std::string nameOfDatabase(const ::testing::TestParamInfo<const char*>& info) {
    return info.param;
}

/// A desk that another program looks into.
class Desk {
public:
    Desk() = default;
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;
    virtual ~Desk() = default;

    /// For --desk.
    [[nodiscard]] virtual std::string name() const = 0;
    /// As if each station had been silent for longer than its lease.
    void endLeases() { sql() << "UPDATE person SET lease = 1 WHERE state = 'running'"; }
    [[nodiscard]] virtual soci::session& sql() = 0;
};

class FileDesk final : public Desk {
public:
    FileDesk() { std::filesystem::create_directories(m_folder); }
    ~FileDesk() override {
        m_sql.close();
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    [[nodiscard]] std::string name() const override {
        const std::u8string name = (m_folder / u8"d\u00e9sk 'one' %41.db").u8string();
        return {name.begin(), name.end()};
    }
    [[nodiscard]] soci::session& sql() override {
        if (!m_sql.is_connected()) {
            m_sql.open(soci::sqlite3, "db=\"" + name() + "\" timeout=10");
        }
        return m_sql;
    }

private:
    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() /
        (std::string("desk ") + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name())
            .append(" ")
            .append(::testing::UnitTest::GetInstance()->current_test_info()->name());
    soci::session m_sql;
};

class ServerDesk final : public Desk {
public:
    ServerDesk() {
        [[maybe_unused]] static const host::desk::Journal kLoadsTheLibrary(serverUrl(), host::desk::IfMissing::Make);
        m_sql.open("postgresql", serverUrl());
        m_sql << "SET client_min_messages = error";
        m_sql << "DROP SCHEMA IF EXISTS test CASCADE";
        m_sql << "CREATE SCHEMA test";
        m_sql << "SET search_path TO test";
    }
    [[nodiscard]] std::string name() const override { return serverUrl() + "&options=-csearch_path%3Dtest"; }
    [[nodiscard]] soci::session& sql() override { return m_sql; }

private:
    soci::session m_sql;
};

inline std::unique_ptr<Desk> makeDesk(const std::string& database) {
    if (database == "server") {
        return std::make_unique<ServerDesk>();
    }
    return std::make_unique<FileDesk>();
}

} // namespace tests
