// Who else may change a file or folder, and whose it is.

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

/// What others may do with this file or folder of the user once it has these rights.
OthersMay rightsOf(const std::filesystem::path& file, int rights) {
    std::filesystem::permissions(file, static_cast<std::filesystem::perms>(rights));
    return platform::othersMayChange(file.string());
}

std::filesystem::path fileOfAGroup(const TemporaryFolder& folder) {
    const std::filesystem::path file = folder.write("file", "");
    std::filesystem::permissions(file, static_cast<std::filesystem::perms>(0664));
    return file;
}

TEST(FileRights, areThoseOfTheGroupAndOfEverybodyElse) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.write("file", "");
    for (const int rights : {0600, 0644, 0755}) {
        EXPECT_EQ(rightsOf(file, rights), OthersMay::Nothing) << rights;
    }
    EXPECT_EQ(rightsOf(file, 0602), OthersMay::Write);
    EXPECT_EQ(rightsOf(file, 01602), OthersMay::Write) << "the sticky bit is a folder's";
    EXPECT_EQ(rightsOf(folder.path(), 0703), OthersMay::Write);
    EXPECT_EQ(rightsOf(folder.path(), 01703), OthersMay::Nothing);
    EXPECT_EQ(platform::othersMayChange((folder.path() / "none").string()), OthersMay::Unknown);
}

TEST(FileRights, ofAnOwnerAndAGroupThatNobodyKnowsAreNotTheOwnersAlone) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "nobody but the administrator gives files away";
    }
    id_t nobodys = 61000;
    while (::getpwuid(nobodys) != nullptr || ::getgrgid(nobodys) != nullptr) {
        ++nobodys;
    }
    const TemporaryFolder folder;
    const std::filesystem::path file = fileOfAGroup(folder);
    ASSERT_EQ(::chown(file.c_str(), nobodys, nobodys), 0);
    EXPECT_EQ(platform::othersMayChange(file.string()), OthersMay::Write);
    EXPECT_TRUE(platform::belongsToAnother(file.string()));
}

TEST(BelongsToAnother, isNotSaidOfTheUsersOwnFilesOrOfNone) {
    const TemporaryFolder folder;
    EXPECT_FALSE(platform::belongsToAnother(folder.write("file", "").string()));
    EXPECT_FALSE(platform::belongsToAnother((folder.path() / "none").string()));
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
