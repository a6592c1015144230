// Which readers there are, and what token is in one.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

const char* const kCount = "C_GetSlotList(0, null)";

/// Every failure ends the list; no reader is told.
Story listStory(const std::string& name, Start start, const Now& now, int slots) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = "getReaderList";
    story.params = Params::null();
    story.furnish = [slots](Fake::Module& fake) {
        for (int i = 1; i < slots; ++i) {
            fake.addSlot(std::string(1, static_cast<char>('A' + i)));
        }
    };
    story.steps = {{kCount, stops(now), {}}, {"C_GetSlotList(0, room=" + std::to_string(slots) + ")", stops(now), {}}};
    std::string readers = Conformance::kReaderHex;
    for (int i = 0; i < slots; ++i) {
        story.steps.push_back({"C_GetSlotInfo(0x1" + std::to_string(i + 1) + ")", stops(now), {}});
        readers += i == 0 ? "" : "2F4" + std::to_string(i + 1);
    }
    story.good = ends("0", now, {}, {{"READERS", 4, 0, readers}});
    return story;
}

const std::vector<Output> kIdentifiers = {
    {"SMOTYPE", 4, 0, "50313147454E45524943"},
    {"SMOID", 4, 0, "30303030303030303030303030303131"},
    {"LABEL", 4, 0, "46616B6520546F6B656E20202020202020202020202020202020202020202020"}};

Story identifyStory(const std::string& name, Start start) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = "getPlatformIdentifiers";
    story.params = Params().hex("READERNAME", Conformance::kReaderHex);
    return story;
}

/// The list of readers is not there yet. What goes wrong on the way to it only leaves the reader unknown, and the token
/// of no slot is asked for.
Story firstReader() {
    Story story = identifyStory("FirstReader", Start::NoReader);
    const Outcome unknown = ends("80e9", noSession().onSlot("none"), {"C_GetTokenInfo(none)"});
    story.steps = {{kCount, unknown, {}},
                   {"C_GetSlotList(0, room=1)", unknown, {}},
                   {"C_GetSlotInfo(0x11)", unknown, {}},
                   {"C_GetTokenInfo(0x11)", stops(noSession()), {}}};
    story.good = ends("0", noSession(), {}, kIdentifiers);
    return story;
}

/// Two readers are known when the third one fails.
Story thirdReader() {
    Story story = identifyStory("ThirdReader", Start::NoReader);
    story.furnish = [](Fake::Module& fake) {
        fake.addSlot("B");
        fake.addSlot("C");
    };
    const Outcome unknown = ends("80e9", noSession().onSlot("none"), {"C_GetTokenInfo(none)"});
    const Outcome known = ends("0", noSession(), {"C_GetTokenInfo(0x11)"}, kIdentifiers);
    story.steps = {{kCount, unknown, {}},
                   {"C_GetSlotList(0, room=3)", unknown, {}},
                   {"C_GetSlotInfo(0x11)", unknown, {}},
                   {"C_GetSlotInfo(0x12)", known, {}},
                   {"C_GetSlotInfo(0x13)", known, {}},
                   {"C_GetTokenInfo(0x11)", stops(noSession()), {}}};
    story.good = ends("0", noSession(), {}, kIdentifiers);
    return story;
}

Story knownReader(const std::string& name, Start start, const Now& now) {
    Story story = identifyStory(name, start);
    story.steps = {{"C_GetTokenInfo(0x11)", stops(now), {}}};
    story.good = ends("0", now, {}, kIdentifiers);
    return story;
}

Story unknownReader() {
    Story story = identifyStory("UnknownReader", Start::NoSession);
    story.params = Params().hex("READERNAME", "00");
    const Now lost = noSession().onSlot("none");
    story.steps = {{"C_GetTokenInfo(none)", stops(lost), {}, true}};
    story.good = ends("80e9", lost);
    return story;
}

} // namespace

std::vector<Story> readerStories() {
    return {listStory("OneReader", Start::NoSession, noSession(), 1),
            listStory("ThreeReaders", Start::NoSession, noSession(), 3),
            listStory("ReadersWhileUserIsIn", Start::UserIn, readWrite("0x1").user(), 1),
            firstReader(),
            thirdReader(),
            knownReader("KnownReader", Start::NoSession, noSession()),
            knownReader("KnownReaderWhileOfficerIsIn", Start::OfficerIn, readWrite("0x1").officer()),
            unknownReader()};
}

} // namespace Faults
