// Certificates and public keys that are read. No login is needed, and nothing is logged in or out.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

struct Kind {
    const char* name;
    const char* type;
    CK_OBJECT_CLASS objectClass;
    const char* asked;   ///< the read template without room
    const char* fetched; ///< with room
};
const Kind kCertificate = {"Certificates", "CERTIFICATE", CKO_CERTIFICATE, "[CKA_VALUE=null/0]", "[CKA_VALUE=room/4]"};
const Kind kKey = {"PublicKeys", "KEY_PAIR", CKO_PUBLIC_KEY, "[CKA_MODULUS=null/0 CKA_PUBLIC_EXPONENT=null/0]",
                   "[CKA_MODULUS=room/2 CKA_PUBLIC_EXPONENT=room/1]"};

std::vector<Output> found(const Kind& kind, const std::string& count, int objects) {
    std::vector<Output> outputs = {{"COUNT", 2, 1, count}};
    for (int i = 1; i <= objects; ++i) {
        const std::string number = std::to_string(i);
        if (kind.objectClass == CKO_CERTIFICATE) {
            outputs.push_back({"DATA" + number, 1, 2, "MIIAAQ=="});
        } else {
            outputs.push_back({"MODULUS" + number, 1, 2, "wQE="});
            outputs.push_back({"PUBLICEXPONENT" + number, 1, 2, "Aw=="});
        }
    }
    return outputs;
}

/// A failure leaves the search open and what was read in the outputs, with a count of 0; when only the end of the
/// search fails, the count stands.
void addReading(Story& story, const Kind& kind, int objects, const Now& now) {
    const std::string number = std::to_string(kind.objectClass);
    story.steps.push_back({"C_FindObjectsInit(0x1, [CKA_CLASS=" + number + "])", stops(now), {}});
    for (int i = 0; i < objects; ++i) {
        const Outcome broken = ends(kMapped, now.search(), {}, found(kind, "0", i));
        const std::string get = "C_GetAttributeValue(0x1, 0x10" + std::to_string(i + 1) + ", ";
        story.steps.push_back({"C_FindObjects(0x1, max=1)", broken, {}});
        story.steps.push_back({get + kind.asked + ")", broken, {}});
        story.steps.push_back({get + kind.fetched + ")", broken, {}});
    }
    const std::vector<Output> all = found(kind, std::to_string(objects), objects);
    story.steps.push_back(
        {"C_FindObjects(0x1, max=1)", ends(kMapped, now.search(), {}, found(kind, "0", objects)), {}});
    story.steps.push_back({"C_FindObjectsFinal(0x1)", ends(kMapped, now.search(), {}, all), {}});
    story.good = ends("0", now, {}, all);
}

Story readStory(const Kind& kind, int objects, Start start, const Now& now) {
    Story story;
    story.name = std::string("Read") + std::to_string(objects) + kind.name + startName(start);
    story.start = start;
    story.script = "readData";
    story.params = Params().plain("OBJ_TYPE", kind.type);
    story.furnish = [kind, objects](Fake::Module& fake) {
        for (int i = 0; i < objects; ++i) {
            fake.addObject(Fake::Attributes()
                               .number(CKA_CLASS, kind.objectClass)
                               .hex(CKA_VALUE, "30820001")
                               .hex(CKA_MODULUS, "C101")
                               .hex(CKA_PUBLIC_EXPONENT, "03"));
        }
    };
    if (start == Start::NoSession) {
        story.steps = {{kOpenReadOnly, stops(noSession()), {}}};
    } else {
        // A stale handle is reported and kept where reading would do.
        story.steps = {{getSessionInfo("0x1"), stops(now), {}}};
    }
    addReading(story, kind, objects, now);
    return story;
}

/// Without a kind of object only the session is opened.
Story nothing() {
    Story story;
    story.name = "ReadNothing";
    story.script = "readData";
    story.params = Params().plain("LABEL", "41");
    story.steps = {{kOpenReadOnly, stops(noSession()), {}}};
    story.good = ends("0", readOnly("0x1"));
    return story;
}

} // namespace

std::vector<Story> readStories() {
    std::vector<Story> stories = {nothing()};
    for (const Kind& kind : {kCertificate, kKey}) {
        for (const int objects : {0, 1, 2}) {
            stories.push_back(readStory(kind, objects, Start::NoSession, readOnly("0x1")));
        }
        stories.push_back(readStory(kind, 1, Start::ReadOnly, readOnly("0x1")));
        stories.push_back(readStory(kind, 1, Start::UserIn, readWrite("0x1").user()));
    }
    stories.push_back(readStory(kCertificate, 1, Start::OfficerIn, readWrite("0x1").officer()));
    return stories;
}

} // namespace Faults
