#include "host/cli/Removal.h"

#include <algorithm>
#include <array>

#include "host/cli/Question.h"
#include "host/plugin/Answers.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"
#include "platform/Console.h"

namespace host {

namespace {

/// What does not choose objects: TOKEN, PRIVATE and MODIFIABLE hold for nearly all.
constexpr std::array<std::string_view, 5> kNoTerms = {"OBJ_TYPE", "PIN", "TOKEN", "PRIVATE", "MODIFIABLE"};

bool isTerm(std::string_view id) {
    return std::find(kNoTerms.begin(), kNoTerms.end(), id) == kNoTerms.end();
}

std::string classOf(const std::string& object) {
    if (object == "CERTIFICATE") {
        return "certificates";
    }
    return object == "KEY_PAIR" ? "private and public keys" : "objects of any kind";
}

/// "certificates with ID 01, LABEL mine"
std::string describe(const ParameterList& parameters) {
    std::string object;
    std::string terms;
    for (std::uint32_t i = 0; i < parameters.size(); ++i) {
        const Zel::Parameter& parameter = *parameters.at(i);
        const std::string id = toUtf8(parameter.getId());
        if (id == "OBJ_TYPE") {
            object = toUtf8(parameter.getValue());
        } else if (id != "PIN") {
            terms.append(terms.empty() ? " with " : ", ").append(id).append(" ");
            const std::string value = toUtf8(parameter.getValue());
            terms += id == "LABEL" ? readableHexadecimal(value) : value;
        }
    }
    return "all " + classOf(object) + terms;
}

} // namespace

void refuseBoundlessRemoval(const Options& options) {
    if (options.command != "removeData") {
        return;
    }
    const bool hasTerm = std::any_of(options.arguments.begin(), options.arguments.end(), [](const std::string& word) {
        return isTerm(std::string_view(word).substr(0, word.find('=')));
    });
    if (hasTerm && options.all) {
        throw UsageError("--all removes everything, and a term chooses: leave one of them out");
    }
    if (!hasTerm && !options.all) {
        throw UsageError("nothing says which objects to remove; give LABEL, ID, SUBJECT, ISSUER, SN or CERT_CATEGORY, "
                         "or --all for everything");
    }
}

void confirmRemoval(const Output& output, const ParameterList& parameters) {
    output.message("p11host: this removes " + printable(describe(parameters)) + ".\n");
    if (platform::errorsGoToTerminal() && !askYesOrNo("Remove them?").value_or(false)) {
        throw RefusedError("the answer was not yes; nothing was removed");
    }
}

std::string removedText(const Failures& failures) {
    return std::to_string(failures.removed) + (failures.removed == 1 ? " object" : " objects") + " removed\n";
}

} // namespace host
