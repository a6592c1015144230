#include <algorithm>
#include <array>
#include <set>

#include "host/desk/plan/PlanParts.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

constexpr std::array<std::string_view, 9> kNames = {"init-token",        "set-pin",        "generate-key",
                                                    "import-key",        "request",        "certify",
                                                    "write-certificate", "name-container", "check"};
constexpr std::size_t kLongestId = 64;
constexpr std::size_t kMostNames = 64;

std::vector<std::string> words(const auto& views) {
    return {views.begin(), views.end()};
}

std::string readId(const PlanNode& node) {
    const std::optional<PlanNode> id = node.require("id");
    const std::optional<std::string> bytes = id ? fromHexadecimal(id->text(kLongestId)) : std::nullopt;
    if (id && (!bytes || bytes->empty())) {
        id->fault("pairs of hexadecimal digits are expected here, such as \"01\"");
    }
    return bytes.value_or("");
}

/// The name of a secret that is the same for every card, or of any when `mayBeRandom`.
std::string readSecretName(const PlanNode& node, const Plan& plan, bool mayBeRandom) {
    const std::string name = node.text(kLongestId);
    const auto found = plan.secrets.find(name);
    if (found == plan.secrets.end()) {
        std::vector<std::string> names;
        std::transform(plan.secrets.begin(), plan.secrets.end(), std::back_inserter(names),
                       [](const auto& entry) { return entry.first; });
        node.fault("\"secrets\" has no secret of this name" + suggestion(name, names));
    } else if (!mayBeRandom && found->second.kind == SecretKind::Random) {
        node.fault("this secret cannot be random: an interrupted card could not be erased without it");
    }
    return name;
}

Template optionalTemplate(const PlanNode& node, const char* name, const Plan& plan) {
    const std::optional<PlanNode> member = node.find(name);
    return member ? readTemplate(*member, plan.columns) : Template();
}

Template requiredTemplate(const PlanNode& node, const char* name, const Plan& plan) {
    const std::optional<PlanNode> member = node.require(name);
    return member ? readTemplate(*member, plan.columns) : Template();
}

void readKey(const PlanNode& node, const Plan& plan, Step& step) {
    step.id = readId(node);
    step.label = optionalTemplate(node, "label", plan);
    if (const std::optional<PlanNode> use = node.find("use")) {
        step.use = {false, false};
        for (const PlanNode& word : use->list(1, 2)) {
            (word.oneOf({"sign", "decrypt"}) == 0 ? step.use.signs : step.use.decrypts) = true;
        }
    }
}

void readInitToken(const PlanNode& node, const Plan& plan, Step& step) {
    node.allowOnly({"label", "soPin"});
    step.label = requiredTemplate(node, "label", plan);
    if (const std::optional<PlanNode> pin = node.require("soPin")) {
        step.soPin = readSecretName(*pin, plan, false);
    }
}

void readSetPin(const PlanNode& node, const Plan& plan, Step& step) {
    node.allowOnly({"pin"});
    if (const std::optional<PlanNode> pin = node.require("pin")) {
        step.pin = readSecretName(*pin, plan, true);
    }
}

void readGenerateKey(const PlanNode& node, const Plan& plan, Step& step) {
    node.allowOnly({"id", "label", "use", "size"});
    readKey(node, plan, step);
    step.size = "2048";
    if (const std::optional<PlanNode> size = node.find("size")) {
        step.size = std::to_string(size->tree().integer);
        if (size->tree().kind != JsonTree::Kind::Integer || (step.size != "1024" && step.size != "2048")) {
            size->fault("1024 or 2048 is expected here");
        }
    }
}

void readImportKey(const PlanNode& node, const Plan& plan, Step& step) {
    node.allowOnly({"id", "label", "use", "file", "passphrase"});
    readKey(node, plan, step);
    step.file = requiredTemplate(node, "file", plan);
    if (const std::optional<PlanNode> passphrase = node.find("passphrase")) {
        step.passphrase = readSecretName(*passphrase, plan, false);
    }
}

void readRequest(const PlanNode& node, const Plan& plan, Step& step) {
    node.allowOnly({"id", "subject", "san", "usage", "hash"});
    step.id = readId(node);
    step.subject = requiredTemplate(node, "subject", plan);
    if (const std::optional<PlanNode> names = node.find("san")) {
        for (const PlanNode& name : names->list(1, kMostNames)) {
            step.alternativeNames.push_back(readTemplate(name, plan.columns));
        }
    }
    if (const std::optional<PlanNode> usage = node.find("usage")) {
        const std::vector<std::string> bits = x509::usageNames(x509::KeyUsage().set());
        for (const PlanNode& name : usage->list(1, bits.size())) {
            step.usage |= x509::parseKeyUsage(bits[name.oneOf(bits)]);
        }
    }
    if (const std::optional<PlanNode> hash = node.find("hash")) {
        std::vector<std::string> names;
        std::transform(x509::kHashes.begin(), x509::kHashes.end(), std::back_inserter(names),
                       [](x509::Hash one) { return std::string(x509::hashName(one)); });
        step.hash = x509::kHashes.at(hash->oneOf(names));
    }
}

void readCertify(const PlanNode& node, const Plan& /*plan*/, Step& /*step*/) {
    node.allowOnly({});
}

void readWriteCertificate(const PlanNode& node, const Plan& plan, Step& step) {
    node.allowOnly({"id", "label"});
    step.id = readId(node);
    step.label = optionalTemplate(node, "label", plan);
}

void readNameContainer(const PlanNode& node, const Plan& plan, Step& step) {
    node.allowOnly({"id", "name"});
    step.id = readId(node);
    step.name = requiredTemplate(node, "name", plan);
}

void readCheck(const PlanNode& node, const Plan& /*plan*/, Step& step) {
    node.allowOnly({"id"});
    step.id = readId(node);
}

using ReadStep = void (*)(const PlanNode& node, const Plan& plan, Step& step);
/// In the order of StepKind.
constexpr std::array<ReadStep, 9> kReaders = {readInitToken,        readSetPin,        readGenerateKey,
                                              readImportKey,        readRequest,       readCertify,
                                              readWriteCertificate, readNameContainer, readCheck};

} // namespace

std::string_view nameOf(StepKind kind) noexcept {
    return kNames[static_cast<std::size_t>(kind)];
}

Step readStep(const PlanNode& node, const Plan& plan) {
    Step step;
    if (!node.is(JsonTree::Kind::Object)) {
        return step;
    }
    const std::vector<PlanNode> members = node.members();
    if (members.size() != 1) {
        node.fault("a step is an object with one name, such as {\"check\": {\"id\": \"01\"}}");
        return step;
    }
    const std::string& name = node.tree().members.front().name;
    const auto found = std::find(kNames.begin(), kNames.end(), name);
    if (found == kNames.end()) {
        node.fault("there is no step \"" + printable(name) + "\"" + suggestion(name, words(kNames)) +
                   "; the steps are " + joined(words(kNames)));
        return step;
    }
    const auto number = static_cast<std::size_t>(found - kNames.begin());
    step.kind = static_cast<StepKind>(number);
    if (members.front().is(JsonTree::Kind::Object)) {
        kReaders[number](members.front(), plan, step);
    }
    return step;
}

} // namespace host::desk
