#include "ry/rylog.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "platform/SystemNumbers.h"

using testing::ElementsAre;

namespace {

constexpr std::uint32_t kAll = 31;
const wchar_t* const kModule = L"ZEL-COE-PKCS11";

/// The line with every digit of its time, which begins at `timeAt`, as 9, and the thread number at `threadAt` as #.
std::string shapeOf(const std::string& line, std::size_t timeAt, std::size_t threadAt) {
    std::string shape = line.substr(0, threadAt);
    std::replace_if(
        shape.begin() + static_cast<std::ptrdiff_t>(timeAt), shape.begin() + static_cast<std::ptrdiff_t>(timeAt) + 27,
        [](char character) { return character >= '0' && character <= '9'; }, '9');
    shape.push_back('#');
    return shape.append(line, line.find_first_not_of("0123456789", threadAt));
}

std::string shapeOfJson(const std::string& line) {
    return shapeOf(line, 9, 47);
}
std::string shapeOfText(const std::string& line) {
    return shapeOf(line, 0, 28);
}

/// What a line of JSON says.
struct Line {
    std::string time;
    std::uint32_t thread;
    std::string module;
    std::uint32_t level;
    std::string text;
    std::string bytes; ///< "none" when there is no dump
};

Line parse(const std::string& text) {
    const auto line = nlohmann::json::parse(text);
    return {line.at("time"),  line.at("thread"), line.at("module"),
            line.at("level"), line.at("text"),   line.value("bytes", "none")};
}

/// A file of its own for every test, and a log that is silent afterwards.
class LogTest : public testing::Test {
protected:
    LogTest() {
        std::random_device random;
        const std::string name = "rylog-" + std::to_string(random()) + std::to_string(random());
        m_path = std::filesystem::temp_directory_path() / name;
    }
    ~LogTest() override {
        rylogSetReceiver(nullptr, nullptr, 0);
        EXPECT_TRUE(rylogSetUp(nullptr, 0, RylogFormat::Text));
        rylogSetModuleName(nullptr);
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }

    [[nodiscard]] bool logTo(RylogFormat format, std::uint32_t levels = kAll) const {
        return rylogSetUp(m_path.string().c_str(), levels, format);
    }
    [[nodiscard]] std::string content() const {
        std::ifstream file(m_path, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
    [[nodiscard]] std::vector<std::string> lines() const {
        std::vector<std::string> all;
        std::istringstream text(content());
        for (std::string line; std::getline(text, line);) {
            all.push_back(line);
        }
        return all;
    }
    /// The one line of the file as JSON.
    [[nodiscard]] Line only() const {
        const std::string text = content();
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
        return parse(text);
    }

    std::filesystem::path m_path;
};

struct Received {
    std::string module;
    std::uint32_t level;
    std::string text;
    bool hasBytes;
    std::string bytes;
};

void receive(void* context, const RylogRecord* record) {
    const char* const bytes = reinterpret_cast<const char*>(record->bytes);
    static_cast<std::vector<Received>*>(context)->push_back(
        {record->module, record->level, record->text, bytes != nullptr,
         bytes == nullptr ? std::string() : std::string(bytes, record->length)});
}

} // namespace

TEST_F(LogTest, JsonLineIsExact) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 8, L"PKCS11Client::%ws", L"execute");
    EXPECT_EQ(shapeOfJson(content()), R"({"time":"9999-99-99T99:99:99.999999Z","thread":#,)"
                                      R"("module":"ZEL-COE-PKCS11","level":8,"text":"PKCS11Client::execute"})"
                                      "\n");
}

TEST_F(LogTest, TheThreadHasTheSystemsNumber) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    std::uint64_t other = 0;
    std::thread([&other] {
        other = platform::threadNumber();
        rylogLog(kModule, 1, L"other");
    }).join();
    EXPECT_EQ(only().thread, other);
    EXPECT_NE(other, platform::threadNumber());

    ASSERT_TRUE(logTo(RylogFormat::Text));
    rylogLog(kModule, 1, L"text");
    EXPECT_THAT(content(), testing::HasSubstr("Z " + std::to_string(platform::threadNumber()) + " ZEL-COE-PKCS11 "));
}

TEST_F(LogTest, JsonDumpIsUpperCaseHexadecimal) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    const unsigned char bytes[] = {0x0A, 0xFF};
    rylogLogBin(kModule, 4, bytes, sizeof(bytes), L"data %d", 2);
    EXPECT_TRUE(content().ends_with(R"(,"level":4,"text":"data 2","bytes":"0AFF"})"
                                    "\n"));
}

TEST_F(LogTest, DumpsWithoutBytes) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLogBin(kModule, 4, "", 0, L"empty");
    rylogLogBin(kModule, 4, nullptr, 0, L"none");
    rylogLogBin(kModule, 4, nullptr, 12, L"a lie");
    rylogLog(kModule, 4, L"no dump");
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(parse(all[0]).bytes, "");
    EXPECT_EQ(parse(all[1]).bytes, "");
    EXPECT_EQ(parse(all[2]).bytes, "");
    EXPECT_EQ(parse(all[3]).bytes, "none");
}

TEST_F(LogTest, TextLineIsReadable) {
    ASSERT_TRUE(logTo(RylogFormat::Text));
    const unsigned char bytes[] = {0x0A, 0xFF};
    rylogLog(kModule, 1, L"first");
    rylogLogBin(kModule, 4, bytes, sizeof(bytes), L"second");
    rylogLog(kModule, 2, L"C_Login");
    rylogLog(kModule, 8, L"in");
    rylogLog(kModule, 16, L"out");
    rylogLog(kModule, 3, L"both");
    std::vector<std::string> shapes = lines();
    std::transform(shapes.begin(), shapes.end(), shapes.begin(), shapeOfText);
    const std::string head = "9999-99-99T99:99:99.999999Z # ZEL-COE-PKCS11 ";
    EXPECT_THAT(shapes, ElementsAre(head + "failure first", head + "value second [0AFF]", head + "call C_Login",
                                    head + "entry in", head + "exit out", head + "3 both"));
}

TEST_F(LogTest, TimeIsNow) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    const auto second = [] {
        const std::time_t now = std::time(nullptr);
        char text[32];
        std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", std::gmtime(&now));
        return std::string(text);
    };
    const std::string before = second();
    rylogLog(kModule, 1, L"now");
    const std::string after = second();
    const std::string written = only().time.substr(0, before.length());
    EXPECT_LE(before, written);
    EXPECT_LE(written, after);
}

TEST_F(LogTest, OnlyLevelsOfTheMaskAreWritten) {
    ASSERT_TRUE(logTo(RylogFormat::Json, 1 | 8));
    for (const std::uint32_t level : {1U, 2U, 4U, 8U, 16U}) {
        EXPECT_EQ(rylogIsEnabled(level), level == 1 || level == 8) << level;
        rylogLog(kModule, level, L"%d", static_cast<int>(level));
        rylogLogBin(kModule, level, "x", 1, L"%d", static_cast<int>(level));
    }
    std::vector<std::uint32_t> levels;
    for (const std::string& line : lines()) {
        levels.push_back(parse(line).level);
    }
    EXPECT_THAT(levels, ElementsAre(1U, 1U, 8U, 8U));
}

TEST_F(LogTest, HasNoLevelZero) {
    ASSERT_TRUE(logTo(RylogFormat::Json, 0xFFFFFFFF));
    EXPECT_FALSE(rylogIsEnabled(0));
    EXPECT_TRUE(rylogIsEnabled(0x80000000));
    rylogLog(kModule, 0, L"nowhere");
    EXPECT_EQ(content(), "");
}

TEST_F(LogTest, AppendsToWhatIsThere) {
    std::ofstream(m_path, std::ios::binary) << "before\n";
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 1, L"after");
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0], "before");
    EXPECT_EQ(parse(all[1]).text, "after");
}

TEST_F(LogTest, SetUpAnewTakesTheOldPlace) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 1, L"one");
    ASSERT_TRUE(rylogSetUp(nullptr, kAll, RylogFormat::Json));
    EXPECT_FALSE(rylogIsEnabled(1));
    rylogLog(kModule, 1, L"nowhere");
    ASSERT_TRUE(rylogSetUp("", kAll, RylogFormat::Json));
    EXPECT_FALSE(rylogIsEnabled(1));
    EXPECT_EQ(lines().size(), 1U);
}

TEST_F(LogTest, AFileThatCannotBeOpenedSilencesTheLog) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    EXPECT_FALSE(rylogSetUp((m_path / "no such folder" / "file").string().c_str(), kAll, RylogFormat::Json));
    EXPECT_FALSE(rylogIsEnabled(1));
    rylogLog(kModule, 1, L"nowhere");
    EXPECT_EQ(content(), "");
}

TEST_F(LogTest, FileNamesAreUtf8) {
    m_path += u8"-caf\u00E9-\u6F22";
    const std::u8string name = m_path.u8string();
    ASSERT_TRUE(rylogSetUp(reinterpret_cast<const char*>(name.c_str()), kAll, RylogFormat::Json));
    rylogLog(kModule, 1, L"here");
    EXPECT_EQ(only().text, "here");
}

TEST_F(LogTest, HostileTextsCannotBreakJson) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 1, L"%ws", L"quote\" backslash\\ line\nfeed\r tab\t bell\a del\x7F end\"}\n{\"");
    rylogLog(L"mo\"du\\le\n", 1, L"x");
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(parse(all[0]).text, "quote\" backslash\\ line\nfeed\r tab\t bell\a del\x7F end\"}\n{\"");
    EXPECT_EQ(parse(all[1]).module, "mo\"du\\le\n");
}

TEST_F(LogTest, EveryCharacterBelow256GivesOneValidPureLine) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    for (int code = 1; code < 256; ++code) {
        rylogLog(kModule, 1, L"<%c>", code);
    }
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 255U);
    for (int code = 1; code < 256; ++code) {
        const std::string& line = all[code - 1];
        const std::string character =
            code < 0x80 ? std::string(1, static_cast<char>(code))
                        : std::string{static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
        EXPECT_EQ(parse(line).text, "<" + character + ">") << code;
        const bool isControl = code < 0x20 || (code >= 0x7F && code < 0xA0);
        EXPECT_EQ(line.find(character) == std::string::npos, isControl) << code;
    }
}

TEST_F(LogTest, TextIsUtf8) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(L"m\u00F6dul", 1, L"%ws", L"\u20AC \u6F22 \U0001F511");
    const Line line = only();
    EXPECT_EQ(line.module, "m\xC3\xB6"
                           "dul");
    EXPECT_EQ(line.text, "\xE2\x82\xAC \xE6\xBC\xA2 \xF0\x9F\x94\x91");
}

TEST_F(LogTest, AMessageEndsAtItsFirstZero) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 1, L"before%cbehind, and long enough for more than one step", 0);
    EXPECT_EQ(only().text, "before");
}

TEST_F(LogTest, EveryLengthAndPlaceIsEscaped) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    const std::wstring plain = L"abcdefghijklmnopqrstuvwxyz";
    std::vector<std::string> expected;
    for (std::size_t length = 0; length < plain.size(); ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            std::wstring text = plain.substr(0, length);
            text[at] = at % 2 == 0 ? L'"' : L'\n';
            rylogLog(kModule, 1, L"%ws", text.c_str());
            expected.emplace_back(text.begin(), text.end());
        }
    }
    std::vector<std::string> texts;
    for (const std::string& line : lines()) {
        texts.push_back(parse(line).text);
    }
    EXPECT_EQ(texts, expected);
}

TEST_F(LogTest, NegativeCharactersAreReplaced) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 1, L"<%c>", sizeof(wchar_t) == 2 ? 0xD800 : -1);
    EXPECT_EQ(only().text, "<\xEF\xBF\xBD>");
}

TEST_F(LogTest, LoneSurrogatesAreReplaced) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 1, L"a%cb%cc", 0xD800, 0xDFFF);
    EXPECT_EQ(only().text, "a\xEF\xBF\xBD"
                           "b\xEF\xBF\xBD"
                           "c");
}

TEST_F(LogTest, TextLinesCannotBeForged) {
    ASSERT_TRUE(logTo(RylogFormat::Text));
    rylogLog(kModule, 1, L"%ws", L"one\ntwo\r\x1B[31m \"C:\\x\"");
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_TRUE(all[0].ends_with(" failure one\\ntwo\\r\\u001B[31m \"C:\\x\"")) << all[0];
}

TEST_F(LogTest, NullTextsAreShownAsSuch) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(kModule, 1, L"%ws and %ws", static_cast<wchar_t*>(nullptr), L"more");
    rylogLog(kModule, 1, nullptr);
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(parse(all[0]).text, "(null) and more");
    EXPECT_EQ(parse(all[1]).text, "(null)");
}

TEST_F(LogTest, AMessageWithoutModuleHasTheProcesssName) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogLog(nullptr, 1, L"x");
    rylogSetModuleName(L"ZEL-COE-PKCS11");
    rylogLog(nullptr, 1, L"x");
    rylogLog(L"other", 1, L"x");
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(parse(all[0]).module, "");
    EXPECT_EQ(parse(all[1]).module, "ZEL-COE-PKCS11");
    EXPECT_EQ(parse(all[2]).module, "other");
}

TEST_F(LogTest, ALongModuleNameIsCutBetweenCharacters) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    rylogSetModuleName(std::wstring(1000, L'\u20AC').c_str());
    rylogLog(nullptr, 1, L"x");
    EXPECT_EQ(only().module.length(), 85U * 3); // 255 bytes at most, three a character
}

TEST_F(LogTest, LongMessagesAndDumpsAreWhole) {
    ASSERT_TRUE(logTo(RylogFormat::Json));
    const std::wstring text(100000, L'\u20AC');
    const std::string bytes(300000, '\xAB');
    rylogLogBin(kModule, 4, bytes.data(), static_cast<std::uint32_t>(bytes.size()), L"%ws", text.c_str());
    const Line line = only();
    EXPECT_EQ(line.text.length(), 3 * text.length());
    EXPECT_EQ(line.bytes.length(), 2 * bytes.length());
}

TEST_F(LogTest, LinesOfThreadsNeverMix) {
    constexpr int kThreads = 8;
    constexpr int kLines = 400;
    ASSERT_TRUE(logTo(RylogFormat::Json));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            const std::string bytes(static_cast<std::size_t>(thread) * 700 + 1, static_cast<char>(thread));
            for (int i = 0; i < kLines; ++i) {
                rylogLogBin(kModule, 4, bytes.data(), static_cast<std::uint32_t>(bytes.size()), L"%d %d", thread, i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::map<int, int> nextOf;
    std::map<int, std::set<std::uint32_t>> numbersOf;
    std::string lastTime;
    for (const std::string& text : lines()) {
        const Line line = parse(text);
        int thread = -1;
        int i = -1;
        ASSERT_EQ(std::sscanf(line.text.c_str(), "%d %d", &thread, &i), 2);
        EXPECT_EQ(i, nextOf[thread]++);
        EXPECT_EQ(line.bytes.length(), 2U * (static_cast<std::size_t>(thread) * 700 + 1));
        numbersOf[thread].insert(line.thread);
        EXPECT_LE(lastTime, line.time);
        lastTime = line.time;
    }
    std::set<std::uint32_t> allNumbers;
    for (int thread = 0; thread < kThreads; ++thread) {
        EXPECT_EQ(nextOf[thread], kLines);
        EXPECT_EQ(numbersOf[thread].size(), 1U);
        allNumbers.insert(numbersOf[thread].begin(), numbersOf[thread].end());
    }
    EXPECT_EQ(allNumbers.size(), static_cast<std::size_t>(kThreads));
}

TEST_F(LogTest, AReceiverGetsMessagesOfItsOwnLevels) {
    std::vector<Received> received;
    rylogSetReceiver(&receive, &received, 2 | 4);
    EXPECT_FALSE(rylogIsEnabled(1));
    EXPECT_TRUE(rylogIsEnabled(4));
    rylogLog(kModule, 1, L"not for it");
    rylogLog(kModule, 2, L"caf\u00E9 \"%d\"\n", 7);
    rylogLogBin(kModule, 4, "\x01\x02", 2, L"dump");
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].module, "ZEL-COE-PKCS11");
    EXPECT_EQ(received[0].level, 2U);
    EXPECT_EQ(received[0].text, "caf\xC3\xA9 \"7\"\n");
    EXPECT_FALSE(received[0].hasBytes);
    EXPECT_EQ(received[1].text, "dump");
    EXPECT_TRUE(received[1].hasBytes);
    EXPECT_EQ(received[1].bytes, "\x01\x02");

    rylogSetReceiver(nullptr, nullptr, 31);
    EXPECT_FALSE(rylogIsEnabled(4));
    rylogLog(kModule, 4, L"nowhere");
    EXPECT_EQ(received.size(), 2U);
}

TEST_F(LogTest, TheFileAndItsLevelsDoNotChangeByAReceiver) {
    ASSERT_TRUE(logTo(RylogFormat::Json, 1 | 2));
    std::vector<Received> received;
    rylogSetReceiver(&receive, &received, 2 | 4);
    for (const std::uint32_t level : {1U, 2U, 4U, 8U}) {
        EXPECT_EQ(rylogIsEnabled(level), level != 8) << level;
        rylogLog(kModule, level, L"%d", static_cast<int>(level));
    }
    ASSERT_TRUE(rylogSetUp(nullptr, kAll, RylogFormat::Json));
    EXPECT_TRUE(rylogIsEnabled(4));
    EXPECT_FALSE(rylogIsEnabled(1));
    rylogLog(kModule, 4, L"without a file");

    std::vector<std::string> written;
    for (const std::string& line : lines()) {
        written.push_back(parse(line).text);
    }
    EXPECT_THAT(written, ElementsAre("1", "2"));
    std::vector<std::string> texts;
    for (const Received& one : received) {
        texts.push_back(one.text);
    }
    EXPECT_THAT(texts, ElementsAre("2", "4", "without a file"));
}

TEST_F(LogTest, ReceiversThatThrowOrLogHurtNobody) {
    rylogSetReceiver([](void*, const RylogRecord*) { throw std::runtime_error("receiver"); }, nullptr, kAll);
    rylogLog(kModule, 1, L"x");
    int calls = 0;
    rylogSetReceiver(
        [](void* context, const RylogRecord*) {
            ++*static_cast<int*>(context);
            rylogLog(kModule, 1, L"from the receiver");
        },
        &calls, kAll);
    rylogLog(kModule, 1, L"x");
    rylogLog(kModule, 1, L"x");
    EXPECT_EQ(calls, 2);
}
