// Removal of everything that matches.

#include "tests/faults/matrix/Writing.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

/// One search of the script: its template, and the objects that it finds.
struct Sweep {
    std::string searched;
    std::vector<std::string> objects;
};

/// The logout is tried until the token agrees; its refusal takes the place of everything but a client code.
void addLogoutOfRemoval(Body& body, const Frame& frame) {
    if (frame.loggedIn) {
        const std::string logout = frame.call("C_Logout");
        const std::string error = body.good.error == "0" ? kMapped : body.good.error;
        body.steps.push_back({logout, ends(error, body.good.after, {logout}), {}});
    }
}

void addSweep(Body& body, const Frame& frame, const Sweep& sweep) {
    const std::string find = frame.call("C_FindObjects", "max=1");
    const std::string finish = frame.call("C_FindObjectsFinal");
    const Outcome searching = endsLoggedOut(frame, {.search = true});
    body.steps.push_back({frame.call("C_FindObjectsInit", sweep.searched), endsLoggedOut(frame), {}});
    for (const std::string& object : sweep.objects) {
        body.steps.push_back({find, searching, {}});
        // Some cards answer CKR_DEVICE_ERROR to a removal that they carried out.
        body.steps.push_back({frame.call("C_DestroyObject", object),
                              endsLoggedOut(frame, {}, {finish}),
                              {{CKR_DEVICE_ERROR, goesOn()}}});
    }
    body.steps.push_back({find, searching, {}});
    body.steps.push_back({finish, searching, {}});
}

BodyOf removing(const std::vector<Sweep>& sweeps) {
    return [sweeps](const Frame& frame) {
        Body body;
        body.good = ends("0", frame.ended());
        for (const Sweep& sweep : sweeps) {
            addSweep(body, frame, sweep);
        }
        addLogoutOfRemoval(body, frame);
        return body;
    };
}

/// Nothing matches: the search is ended, and how that goes is only told.
BodyOf findingNothing(const std::string& searched) {
    return [searched](const Frame& frame) {
        Body body;
        body.good = ends("80f3", frame.ended());
        addSweep(body, frame, {searched, {}});
        body.steps.back().otherwise = goesOnTo(frame.ended().search());
        addLogoutOfRemoval(body, frame);
        return body;
    };
}

Furnish holding(const std::vector<CK_OBJECT_CLASS>& classes) {
    return [classes](Fake::Module& fake) {
        for (const CK_OBJECT_CLASS objectClass : classes) {
            fake.addObject(Fake::Attributes().number(CKA_CLASS, objectClass).hex(CKA_ID, "01").hex(CKA_VALUE, "3082"));
        }
    };
}

const Sweep kCertificateSweep = {"[CKA_CLASS=1 CKA_ID=01]", {"0x101"}};

} // namespace

std::vector<Story> removeStories() {
    const auto params = [](const char* type) { return Params().plain("OBJ_TYPE", type).hex("ID", "01"); };
    std::vector<Story> stories;
    const auto add = [&stories](const char* name, Start start, const Params& given, const Furnish& furnish,
                                const BodyOf& body) {
        stories.push_back(loggedInStory(name, start, "removeData", given, furnish, body));
    };
    for (const Start start : {Start::NoSession, Start::ReadOnly, Start::Public, Start::UserIn, Start::OfficerIn}) {
        add("RemoveCertificate", start, params("CERTIFICATE"), holding({CKO_CERTIFICATE}),
            removing({kCertificateSweep}));
    }
    for (const Start start : {Start::NoSession, Start::UserIn}) {
        add("RemoveKeyPair", start, params("KEY_PAIR"), holding({CKO_PRIVATE_KEY, CKO_PUBLIC_KEY}),
            removing({{"[CKA_CLASS=3 CKA_ID=01]", {"0x101"}}, {"[CKA_CLASS=2 CKA_ID=01]", {"0x102"}}}));
        add("RemoveAny", start, params("ANY"), holding({CKO_CERTIFICATE, CKO_PUBLIC_KEY}),
            removing({{"[CKA_ID=01]", {"0x101", "0x102"}}}));
        add("RemoveNothing", start, params("CERTIFICATE"), {}, findingNothing("[CKA_CLASS=1 CKA_ID=01]"));
    }
    add("RemoveAllThereIs", Start::NoSession, Params(), holding({CKO_CERTIFICATE}), removing({{"null/0", {"0x101"}}}));
    add("RemovePrivateKeyAlone", Start::NoSession, params("KEY_PAIR"), holding({CKO_PRIVATE_KEY}),
        removing({{"[CKA_CLASS=3 CKA_ID=01]", {"0x101"}}, {"[CKA_CLASS=2 CKA_ID=01]", {}}}));
    return stories;
}

} // namespace Faults
