// SOCI's way to PostgreSQL, a library of the system that is loaded at run time.

#include <gtest/gtest.h>
#include <soci/soci.h>

#include <string>

namespace {

TEST(Postgresql, isLoadedByItsNameAndSaysThatNoServerAnswers) {
    soci::dynamic_backends::register_backend("postgresql", ZEL_DESK_POSTGRESQL);
    try {
        // A folder for the server's socket that is not there.
        const soci::session sql("postgresql", "host=/nowhere/at/all dbname=desk");
        FAIL() << "a server answered";
    } catch (const soci::soci_error& error) {
        EXPECT_NE(std::string(error.what()).find("/nowhere/at/all"), std::string::npos) << error.what();
    }
}

TEST(Postgresql, isAnErrorToCatchWhereTheLibraryIsNotInstalled) {
    EXPECT_THROW(soci::dynamic_backends::register_backend("none", "libsoci_none.so.4.0"), soci::soci_error);
}

} // namespace
