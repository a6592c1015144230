#include "host/card/Removal.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "host/card/KeySteps.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

std::size_t count(const std::vector<ObjectView>& objects, ObjectClass objectClass) {
    return static_cast<std::size_t>(std::count_if(objects.begin(), objects.end(),
                                                  [&](const ObjectView& o) { return o.objectClass == objectClass; }));
}

bool isKeyPairPart(const ObjectView& object) {
    return object.objectClass == ObjectClass::PrivateKey || object.objectClass == ObjectClass::PublicKey;
}

bool isAskedFor(const ObjectView& object, const RemovalRequest& request) {
    return (object.objectClass == ObjectClass::Certificate && request.certificates) ||
           (isKeyPairPart(object) && request.keys);
}

/// A class as the script takes it, and what it is called.
struct RemovedClass {
    const char* word;
    const char* name;
};

constexpr RemovedClass kCertificates = {"CERTIFICATE", "certificates"};
constexpr RemovedClass kKeyPairs = {"KEY_PAIR", "key pairs"};
constexpr RemovedClass kPublicKeys = {"ANY", "public keys"};

/// Removes what has this class and, when there is one, this identifier. The script looks at OBJ_TYPE in the first place
/// only.
RemovalStep removal(const RemovedClass& what, const std::optional<std::string>& id) {
    RemovalStep step{ScriptCall("removeData"), std::string("the ") + what.name};
    step.call.plain("OBJ_TYPE", what.word);
    if (id) {
        step.call.bytes("ID", *id);
        step.done += " with the identifier " + hexadecimalText(*id);
    }
    step.done += " are removed";
    return step;
}

/// Public keys without a private one: no script removes them by their class. The one for anything does when nothing
/// else has the identifier, or only certificates that have gone before.
void planLonePublicKeys(const std::vector<ObjectView>& objects, const std::vector<ObjectView>& asked, Removal& plan) {
    const auto goesAlong = [&](const ObjectView& other) {
        return other.objectClass == ObjectClass::PublicKey || other.objectClass == ObjectClass::Data ||
               (other.objectClass == ObjectClass::Certificate && count(asked, ObjectClass::Certificate) != 0);
    };
    std::set<std::string> planned;
    for (const ObjectView& key : asked) {
        if (key.objectClass != ObjectClass::PublicKey) {
            continue;
        }
        const bool isWithinReach =
            !key.id.empty() && std::all_of(objects.begin(), objects.end(), [&](const ObjectView& other) {
                return other.id != key.id || goesAlong(other);
            });
        (isWithinReach ? plan.going : plan.staying).push_back(key);
        if (isWithinReach && planned.insert(key.id).second) {
            plan.steps.push_back(removal(kPublicKeys, key.id));
        }
    }
}

} // namespace

std::string describe(const ObjectView& object) {
    std::string text = std::string(nameOf(object.objectClass)) + " \"" + printable(object.label) + "\"";
    if (!object.id.empty()) {
        text += ", identifier " + hexadecimalText(object.id);
    }
    const bool isKey = isKeyPairPart(object) || object.objectClass == ObjectClass::SecretKey;
    return isKey && object.size ? text + ", " + object.type + " " + std::to_string(*object.size) : text;
}

Removal planRemoval(const std::vector<ObjectView>& objects, const RemovalRequest& request) {
    Removal plan;
    std::vector<ObjectView> asked;
    for (const ObjectView& object : objects) {
        const bool isMatched = !request.id || (object.id == *request.id && object.objectClass != ObjectClass::Data);
        const bool isOther = object.objectClass != ObjectClass::Certificate && !isKeyPairPart(object);
        if (isMatched && isAskedFor(object, request)) {
            asked.push_back(object);
        } else if (isMatched && isOther) {
            plan.staying.push_back(object);
        }
    }
    const bool hasPrivateKey = count(asked, ObjectClass::PrivateKey) != 0 ||
                               (!request.seesPrivateKeys && count(asked, ObjectClass::PublicKey) != 0);
    if (count(asked, ObjectClass::Certificate) != 0) {
        plan.steps.push_back(removal(kCertificates, request.id));
    }
    if (hasPrivateKey) {
        plan.steps.push_back(removal(kKeyPairs, request.id));
    }
    std::copy_if(asked.begin(), asked.end(), std::back_inserter(plan.going), [&](const ObjectView& object) {
        return hasPrivateKey || object.objectClass == ObjectClass::Certificate;
    });
    if (!hasPrivateKey) {
        planLonePublicKeys(objects, asked, plan);
    }
    return plan;
}

RemovedCounts removeObjects(Token& token, const Removal& removal) {
    const std::vector<ObjectView> before = token.objects();
    for (const RemovalStep& step : removal.steps) {
        token.announce(step.done);
    }
    for (const RemovalStep& step : removal.steps) {
        goingOn("The same command removes the rest.", [&] {
            if (token.run("removing objects", step.call)) {
                token.note(step.done);
            }
        });
    }
    const std::vector<ObjectView> after = token.objects();
    const auto gone = [&](ObjectClass c) { return count(before, c) - std::min(count(before, c), count(after, c)); };
    const RemovedCounts counts{gone(ObjectClass::Certificate), gone(ObjectClass::PrivateKey),
                               gone(ObjectClass::PublicKey)};
    const std::size_t total = counts.certificates + counts.privateKeys + counts.publicKeys;
    if (!token.rules().isDryRun && total < removal.going.size()) {
        throw CardFailure(ExitStatus::Failed, "looking at " + token.name() + " again",
                          std::to_string(removal.going.size() - total) + " of the objects are still there",
                          "The token keeps them; \"p11host objects\" shows which ones.");
    }
    return counts;
}

} // namespace host
