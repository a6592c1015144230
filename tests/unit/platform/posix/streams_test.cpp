// Bytes that the host reads from files and open descriptors.

#include "platform/Streams.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/unit/platform/Fixture.h"

namespace {

using platform::InputStream;

/// All that can be read, so many bytes at a time.
std::string restOf(InputStream& stream, std::size_t room) {
    std::string text;
    std::string piece(room, '\0');
    while (const std::size_t count = stream.read(piece.data(), room).value_or(0)) {
        text.append(piece, 0, count);
    }
    return text;
}

TEST(InputStream, readsAFileInPiecesUpToItsEnd) {
    const TemporaryFolder folder;
    const std::string contents("one\0two\r\nthree\x1A end", 20);
    std::optional<InputStream> stream = InputStream::open(utf8NameOf(folder.write("input", contents)));
    ASSERT_TRUE(stream);
    EXPECT_EQ(restOf(*stream, 3), contents);
    char byte = 0;
    EXPECT_EQ(stream->read(&byte, 1), 0U);
}

TEST(InputStream, takesNamesAsUtf8) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / u8"Schlüssel-\u20AC";
    std::ofstream(file, std::ios::binary) << "found";
    std::optional<InputStream> stream = InputStream::open(utf8NameOf(file));
    ASSERT_TRUE(stream);
    EXPECT_EQ(restOf(*stream, 100), "found");
}

TEST(InputStream, saysWhyAFileCannotBeOpened) {
    const TemporaryFolder folder;
    EXPECT_FALSE(InputStream::open(utf8NameOf(folder.path() / "none")));
    EXPECT_NE(InputStream::lastError(), "");
}

TEST(InputStream, ofADescriptorThatIsNotOpenFailsAtTheFirstRead) {
    InputStream stream = InputStream::descriptor(987);
    char byte = 0;
    EXPECT_EQ(stream.read(&byte, 1), std::nullopt);
    EXPECT_NE(InputStream::lastError(), "");
}

TEST(InputStream, isReadByWhomItWasMovedTo) {
    const TemporaryFolder folder;
    std::optional<InputStream> first = InputStream::open(utf8NameOf(folder.write("first", "first")));
    std::optional<InputStream> second = InputStream::open(utf8NameOf(folder.write("second", "second")));
    ASSERT_TRUE(first && second);
    InputStream moved(std::move(*first));
    moved = std::move(*second);
    EXPECT_EQ(restOf(moved, 100), "second");
}

} // namespace
