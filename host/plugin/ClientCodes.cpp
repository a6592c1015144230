#include "host/plugin/ClientCodes.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "host/plugin/Texts.h"

namespace host {

namespace {

constexpr const char* kSessionAdvice = "Run it again; in a job, log in again or start with a new instance.";
constexpr const char* kModuleAdvice =
    "Run it again with \"--trace -\" to see the module's own result, and look there for the cause.";

// The whole mapping from code to meaning, advice and status. Two module results may share a code.
constexpr std::array<ClientCode, 31> kCodes = {{
    {0, "success", "", ExitStatus::Success},
    {33001, "there is no such slot",
     "Name a reader with --reader TEXT as \"p11host readers\" lists it; in a job, run \"getPlatformIdentifiers\" "
     "first.",
     ExitStatus::Failed},
    {33002, "the token is not recognised",
     "Check that the card is put in the right way round and that this module supports it.", ExitStatus::NoToken},
    {33003, "there is no token in the reader, or it was removed",
     "Put the card in and run it again; \"p11host readers\" shows where the tokens are.", ExitStatus::NoToken},
    {33004, "a parameter is missing or bad",
     "Compare the parameters with \"p11host COMMAND --help\"; \"--trace -\" names the one that was refused.",
     ExitStatus::BadParameter},
    {33005, "the session is in an unknown state", kSessionAdvice, ExitStatus::Failed},
    {33006, "the PIN is wrong",
     "Do not guess: a few wrong tries lock the PIN. \"getAuthenticatorState\" tells whether one try is left.",
     ExitStatus::PinWrong},
    {33007, "the PIN is locked or expired",
     "A locked user PIN is set anew with \"unlockAuthenticator\" and the security officer's PIN; an expired one is "
     "changed with \"changeAuthenticator\".",
     ExitStatus::PinLocked},
    {33008, "nobody is logged in, or somebody else than was asked for",
     "Give the PIN with the command (PIN=prompt:), or run \"authenticate\" before it in the same job.",
     ExitStatus::Failed},
    {33009, "the other role is logged in already", "Run \"deauthenticate\" for that role first.", ExitStatus::Failed},
    {33010, "the operation was refused", kModuleAdvice, ExitStatus::Failed},
    {33011, "object or key not found",
     "Identifiers and labels must match byte for byte. \"readData\" with OBJ_TYPE and ID=hex:DIGITS counts the public "
     "keys or certificates with that identifier; it shows no identifiers or labels, a program such as \"pkcs11-tool "
     "--list-objects\" does.",
     ExitStatus::NotFound},
    {33012, "the module does not support this", "Use another module for this token, or do without this operation.",
     ExitStatus::Failed},
    {33013, "the module answered a result that has no code of its own", kModuleAdvice, ExitStatus::Failed},
    {33014, "out of memory, on this machine or on the token",
     "Free space on the token with \"removeData\", or end other programs.", ExitStatus::Failed},
    {33015, "general failure of the module", kModuleAdvice, ExitStatus::Failed},
    {33016, "the function failed, or no PIN was given for it",
     "If this needs a login, give PIN=prompt: or another source of the PIN; otherwise \"--trace -\" shows what failed.",
     ExitStatus::Failed},
    {33017, "the token refuses a value or an attribute",
     "Look whether a required parameter is missing (\"p11host SCRIPT --help\"), then leave out optional ones one by "
     "one.",
     ExitStatus::Failed},
    {33018, "the token or the reader reported an error", "Take the card out, put it in again and run it once more.",
     ExitStatus::Failed},
    {33019, "the key does not fit: its handle, size or type", "Try another key size; see what the module supports.",
     ExitStatus::Failed},
    {33020, "the PIN is too short or too long",
     "Choose a PIN of a length that this token accepts; 4 to 8 characters are usual for cards.", ExitStatus::Failed},
    {33021, "the session was closed", kSessionAdvice, ExitStatus::Failed},
    {33022, "the token has no session left", "End other programs that use the token.", ExitStatus::Failed},
    {33023, "there is no valid session",
     "A login lives as long as its instance: put \"authenticate\" and what follows it into one job.",
     ExitStatus::Failed},
    {33024, "the module does not support parallel sessions", kModuleAdvice, ExitStatus::Failed},
    {33025, "the session can only read", kSessionAdvice, ExitStatus::Failed},
    {33026, "a session is open on the token", "End other programs that use the token, then run it again.",
     ExitStatus::Failed},
    {33027, "a read-only session is open on the token", "End other programs that use the token, then run it again.",
     ExitStatus::Failed},
    {33028, "a session of the security officer is open on the token",
     "End other programs that use the token, or log the security officer out.", ExitStatus::Failed},
    {33029, "attributes are missing for this object",
     "Add the attributes that this token asks for; a certificate usually needs SUBJECT.", ExitStatus::Failed},
    {33030, "attributes contradict each other", "Leave out optional attributes one by one to find the contradiction.",
     ExitStatus::Failed},
}};

constexpr ClientCode kUnknown = {0xFFFFFFFFU, "the plug-in answered with a code that is not known here", kModuleAdvice,
                                 ExitStatus::Failed};

} // namespace

const ClientCode& clientCode(unsigned int code) noexcept {
    const auto* entry = std::find_if(kCodes.begin(), kCodes.end(),
                                     [code](const ClientCode& candidate) { return candidate.code == code; });
    return entry == kCodes.end() ? kUnknown : *entry;
}

std::optional<unsigned int> parseClientCode(std::string_view text) noexcept {
    unsigned int code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code, 16);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return code;
}

const Zel::Parameter* findOutput(const ParameterList& answer, std::string_view id) {
    for (std::uint32_t i = 0; i < answer.size(); ++i) {
        if (toUtf8(answer.at(i)->getId()) == id) {
            return answer.at(i);
        }
    }
    return nullptr;
}

std::optional<unsigned int> errorOf(const ParameterList& answer) {
    const Zel::Parameter* error = findOutput(answer, "ERROR");
    return error == nullptr ? std::nullopt : parseClientCode(toUtf8(error->getValue()));
}

ExitStatus statusOf(const ParameterList& answer) {
    const std::optional<unsigned int> code = errorOf(answer);
    return code ? clientCode(*code).status : ExitStatus::Failed;
}

ExitStatus statusOf(const Thrown& thrown) {
    // One exception has the code of a bad parameter and another cause: the executor cannot be used at all.
    if (thrown.message == "Plugin not validated") {
        return ExitStatus::NoPlugin;
    }
    const std::optional<unsigned int> code = thrown.code ? parseClientCode(*thrown.code) : std::nullopt;
    return code && *code != 0 ? clientCode(*code).status : ExitStatus::Failed;
}

} // namespace host
