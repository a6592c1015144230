// Who else may change a file whose group may write to it.

#include "platform/FileRights.h"

#include <gtest/gtest.h>

#include <grp.h>
#include <optional>
#include <pwd.h>
#include <unistd.h>

#include "tests/unit/platform/Fixture.h"

namespace {

using platform::OthersMay;

/// Returns true for a user whose group has the user's name and no other members.
bool hasGroupAlone(const passwd& user) {
    const group* const own = ::getgrgid(user.pw_gid);
    return own != nullptr && own->gr_gid != 0 && std::string(own->gr_name) == user.pw_name && *own->gr_mem == nullptr;
}

std::filesystem::path fileOfAGroup(const TemporaryFolder& folder) {
    const std::filesystem::path file = folder.write("file", "");
    std::filesystem::permissions(file, static_cast<std::filesystem::perms>(0664));
    return file;
}

TEST(FileRights, takeAPrivateGroupForItsUser) {
    const TemporaryFolder folder;
    const std::filesystem::path file = fileOfAGroup(folder);
    if (::geteuid() != 0) { // nobody but the administrator gives files away
        const passwd* const self = ::getpwuid(::geteuid());
        const bool isPrivate =
            ::getegid() == 0 || (self != nullptr && self->pw_gid == ::getegid() && hasGroupAlone(*self));
        EXPECT_EQ(platform::othersMayChange(file.string()), isPrivate ? OthersMay::Nothing : OthersMay::Write);
        return;
    }
    std::optional<uid_t> found;
    ::setpwent();
    for (const passwd* user = ::getpwent(); user != nullptr && !found; user = ::getpwent()) {
        if (user->pw_uid != 0 && hasGroupAlone(*user)) {
            found = user->pw_uid;
            ASSERT_EQ(::chown(file.c_str(), user->pw_uid, user->pw_gid), 0);
        }
    }
    ::endpwent();
    ASSERT_TRUE(found) << "every system has such users, such as daemon";
    EXPECT_EQ(platform::othersMayChange(file.string()), OthersMay::Nothing);
    ASSERT_EQ(::chown(file.c_str(), ::geteuid(), ::getpwuid(*found)->pw_gid), 0);
    EXPECT_EQ(platform::othersMayChange(file.string()), OthersMay::Write) << "the group is not the owner's";
}

} // namespace
