#include "host/plugin/Advice.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "cryptoki/ResultNames.h"
#include "host/plugin/ClientCodes.h"

namespace host {

namespace {

constexpr unsigned int kBadParameter = 33004;
constexpr unsigned int kAnyOther = 33013;

/// What one result means at one place. The first row that fits is taken.
struct Row {
    unsigned int code;
    const char* result;
    const char* places; ///< scripts, methods and functions of the plug-in, or "job"; empty: everywhere
    const char* meaning;
    const char* remedy;
};

constexpr const char* kOfficersPin = "the security officer's PIN is wrong";
constexpr const char* kOfficersAdvice =
    "Nothing was changed. Do not guess: a few wrong tries lock it, and then only the card's vendor can help.";
constexpr const char* kOfficersScripts = "init recycle initAuthenticator unlockAuthenticator";
constexpr const char* kContainer = "the token does not keep the name of a container";
constexpr const char* kContainerAdvice =
    "The name goes into a vendor's attribute that this token does not keep; the key works without it.";
constexpr const char* kNoPin = "a PIN that this script needs was not given, or is empty";
constexpr const char* kNoPinAdvice =
    "\"p11host SCRIPT --help\" lists the PINs; give each as ID=prompt: or from another "
    "source of a secret.";
constexpr const char* kPinCalls = "C_Login C_InitToken C_InitPIN C_SetPIN";
constexpr const char* kWriting = "writeData generateKeyPair";
constexpr const char* kStale = "In a job, terminate and initialize the instance, then log in again; as a command, run "
                               "it again.";
constexpr const char* kData = "the data cannot be signed with this key";
constexpr const char* kDataAdvice = "DATA is signed as it stands, usually a DigestInfo, and must be at least 11 bytes "
                                    "shorter than the key's modulus.";

// Lists every result that has a client error code of its own, so that the code of a result can be found.
constexpr std::array kRows = {
    Row{33001, "CKR_SLOT_ID_INVALID", "", nullptr, nullptr},
    Row{33002, "CKR_TOKEN_NOT_RECOGNIZED", "getPlatformIdentifiers init recycle", nullptr, nullptr},
    Row{33002, "CKR_TOKEN_NOT_RECOGNIZED", "", "the token is blank, or this module does not know it",
        "Run \"init\" on a blank token; it gets the security officer's PIN that you give. A token that is not blank is "
        "no token for this module."},
    Row{33003, "CKR_TOKEN_NOT_PRESENT", "", "there is no token in the reader", nullptr},
    Row{33003, "CKR_DEVICE_REMOVED", "", "the token was removed", nullptr},

    Row{33006, "CKR_PIN_INCORRECT", kOfficersScripts, kOfficersPin, kOfficersAdvice},
    Row{33006, "CKR_PIN_INCORRECT", "job", nullptr,
        "If another program has changed it meanwhile, end this job and start a new one with the new PIN: some modules "
        "learn of the change only when they are loaded again. Do not guess: a few wrong tries lock the PIN."},
    Row{33006, "CKR_PIN_INCORRECT", "", nullptr, nullptr},
    Row{33006, "CKR_PIN_INVALID", "", "the token refuses the new PIN",
        "It may be the one that is valid now, too simple, or hold characters that this token does not take; choose "
        "another."},
    Row{33007, "CKR_PIN_LOCKED", kOfficersScripts, "the security officer's PIN is locked",
        "Only the card's vendor can help now, if anybody can."},
    Row{33007, "CKR_PIN_LOCKED", "", "the PIN is locked",
        "Set a locked user PIN anew with \"unlockAuthenticator\" and the security officer's PIN."},
    Row{33007, "CKR_PIN_EXPIRED", "", "the PIN has expired", "Change it with \"changeAuthenticator\"."},
    Row{33008, "CKR_USER_NOT_LOGGED_IN", "", nullptr, nullptr},
    Row{33009, "CKR_USER_ANOTHER_ALREADY_LOGGED_IN", "", nullptr, nullptr},

    Row{33012, "CKR_FUNCTION_NOT_SUPPORTED", "init recycle", "the module does not initialise tokens",
        "Initialise or empty this token with its vendor's tool."},
    Row{33012, "CKR_FUNCTION_NOT_SUPPORTED", "", nullptr, nullptr},
    Row{33012, "CKR_FUNCTION_REJECTED", "", "the token rejected the request",
        "The card may forbid it, or somebody declined it at the reader; ask the card's vendor."},

    Row{33013, "CKR_USER_PIN_NOT_INITIALIZED", "", "no user PIN is set",
        "Run \"initAuthenticator\" with the security officer's PIN."},
    Row{33013, "CKR_USER_TYPE_INVALID", "writeData generateKeyPair removeData",
        "the token does not let the user do this",
        "On such a card only the security officer makes and removes objects: use its vendor's tool."},
    Row{33013, "CKR_USER_TYPE_INVALID", "", "the token knows no such role", "Use this token without that role's PIN."},
    Row{33013, "CKR_TOKEN_WRITE_PROTECTED", "", "the token is read-only",
        "Only \"readData\" and the scripts that show a state work on it; nobody can log in."},
    Row{33013, "CKR_MECHANISM_INVALID", "generateKeyPair", "the token makes no RSA keys itself",
        "Make the key elsewhere and import it with \"writeData OBJ_TYPE=KEY_PAIR\"."},
    Row{33013, "CKR_MECHANISM_INVALID", "", "the token does not offer this mechanism",
        "This token, or this key on it, does not sign with RSA PKCS #1."},
    Row{33013, "CKR_OPERATION_ACTIVE", "job", "a search, or another operation, is still open in this session",
        "A search for a key that was not found stays open. Put \"terminate\" and \"initialize\" before this step."},
    Row{33013, "CKR_OPERATION_ACTIVE", "", "a search, or another operation, is still open", "Run it again."},
    Row{33013, "CKR_USER_ALREADY_LOGGED_IN", "", "this role is logged in already",
        "Run \"deauthenticate\" for it, or do without this login."},
    Row{33013, "CKR_PIN_TOO_WEAK", "", "the token finds the new PIN too simple",
        "Choose a PIN that is harder to guess."},
    Row{33013, "CKR_KEY_FUNCTION_NOT_PERMITTED", "", "the key may not be used for this",
        "Its attributes forbid it: a key that signs is made or imported with SIGN=1."},
    Row{33013, "CKR_OBJECT_HANDLE_INVALID", "", "the object has gone", "Another program has removed it; run it again."},
    Row{33013, "CKR_ACTION_PROHIBITED", "", "the token forbids this for the object",
        "Its attributes forbid it, such as MODIFIABLE=0; ask the card's vendor."},
    Row{33013, "CKR_FUNCTION_CANCELED", "", "somebody cancelled it at the reader", "Run it again."},
    Row{33013, "CKR_CRYPTOKI_NOT_INITIALIZED", "", "the module was ended by somebody else in this process",
        "Free the instance and make a new one."},

    Row{33014, "CKR_HOST_MEMORY", "", "this machine is out of memory, or the answer is too large",
        "End other programs; read fewer objects at once."},
    Row{33014, "CKR_DEVICE_MEMORY", "", "the token is full", "Free space on the token with \"removeData\"."},
    Row{33015, "CKR_GENERAL_ERROR", kWriting, nullptr,
        "Is such an object there already (\"readData\" with its ID counts them)? Is another program writing to the "
        "token? If neither, look at \"--trace -\" and the module's own log."},
    Row{33015, "CKR_GENERAL_ERROR", "C_Sign", nullptr,
        "Some modules answer this to DATA that does not fit the key: it is signed as it stands, usually a DigestInfo, "
        "and must be at least 11 bytes shorter than the modulus. If it does fit, run it again; otherwise look at "
        "\"--trace -\" and at the module's own log."},
    Row{33015, "CKR_GENERAL_ERROR", "", nullptr,
        "Another program may be using the token just now: run it again. Otherwise look at \"--trace -\" and at the "
        "module's own log."},
    Row{33016, "CKR_FUNCTION_FAILED", "C_Login", "the token refused the login, though the PIN may be right",
        "Do not try other PINs. Run it again, and if it fails again, ask the card's vendor; some tokens lose a PIN "
        "when they are initialised again."},
    Row{33016, "CKR_FUNCTION_FAILED", "login", "no user PIN was given",
        "Give PIN=prompt: or another source of the PIN; in a job, give it to \"initialize\" or \"authenticate\", too."},
    Row{33016, "CKR_FUNCTION_FAILED", "", "the function failed",
        "Run it again with \"--trace -\" to see which call failed, and look into the module's own log."},

    Row{33017, "CKR_ARGUMENTS_BAD", "writeContainerName", kContainer, kContainerAdvice},
    Row{33017, "CKR_ARGUMENTS_BAD", kPinCalls, kNoPin, kNoPinAdvice},
    Row{33017, "CKR_ARGUMENTS_BAD", "", "the module refuses an argument of a call",
        "A required parameter is missing or empty: \"p11host SCRIPT --help\" lists them."},
    Row{33017, "CKR_ATTRIBUTE_TYPE_INVALID", "writeContainerName", kContainer, kContainerAdvice},
    Row{33017, "CKR_ATTRIBUTE_VALUE_INVALID", "writeContainerName", kContainer, kContainerAdvice},
    Row{33017, "CKR_ATTRIBUTE_READ_ONLY", "writeContainerName", kContainer, kContainerAdvice},
    Row{33017, "CKR_ATTRIBUTE_TYPE_INVALID", "", "the token does not know one of the attributes",
        "Leave out optional parameters one by one, CERT_CATEGORY first."},
    Row{33017, "CKR_ATTRIBUTE_VALUE_INVALID", "", "the token refuses the value of an attribute",
        "Leave out optional parameters one by one to find it; identifiers, subjects and serial numbers are hex:."},
    Row{33017, "CKR_ATTRIBUTE_READ_ONLY", "", "the token sets one of the attributes itself",
        "Leave out optional parameters one by one to find it."},
    Row{33017, "CKR_ATTRIBUTE_SENSITIVE", "", "the token does not show this value", "It stays on the token."},
    Row{33017, "CKR_DATA_INVALID", "", kData, kDataAdvice},
    Row{33017, "CKR_DATA_LEN_RANGE", "", kData, kDataAdvice},
    Row{33018, "CKR_DEVICE_ERROR", "", nullptr, nullptr},
    Row{33019, "CKR_KEY_HANDLE_INVALID", "", "the key has gone, or is not of the kind that this needs",
        "Run it again."},
    Row{33019, "CKR_KEY_SIZE_RANGE", "", "the token does not take a key of this size", "Try another key size."},
    Row{33019, "CKR_KEY_TYPE_INCONSISTENT", "", "the key is not of the kind that this needs", "Use an RSA key."},
    Row{33020, "CKR_PIN_LEN_RANGE", "", nullptr, nullptr},

    Row{33021, "CKR_SESSION_CLOSED", "", "the session was closed, for example by another program", kStale},
    Row{33022, "CKR_SESSION_COUNT", "", nullptr, nullptr},
    Row{33023, "CKR_SESSION_HANDLE_INVALID", "deauthenticate", "there is no session, so nobody is logged in",
        "Nothing has to be done. A login lives as long as its instance: in a job \"deauthenticate\" follows "
        "\"authenticate\". On a read-only token nobody can log in."},
    Row{33023, "CKR_SESSION_HANDLE_INVALID", "", "the session is no longer valid", kStale},
    Row{33024, "CKR_SESSION_PARALLEL_NOT_SUPPORTED", "", nullptr, nullptr},
    Row{33025, "CKR_SESSION_READ_ONLY", "", "the session can only read: the token is write-protected",
        "Write to another token, or ask the card's vendor what protects this one."},
    Row{33026, "CKR_SESSION_EXISTS", "", nullptr, nullptr},
    Row{33027, "CKR_SESSION_READ_ONLY_EXISTS", "", nullptr, nullptr},
    Row{33028, "CKR_SESSION_READ_WRITE_SO_EXISTS", "", nullptr, nullptr},
    Row{33029, "CKR_TEMPLATE_INCOMPLETE", "writeCertificate",
        "the certificate needs more attributes: SUBJECT is missing",
        "Give SUBJECT=hex:DIGITS, the certificate's subject as DER; \"certificate-fields\" among the examples prints "
        "it. "
        "Look whether the token has kept an empty certificate, and remove it."},
    Row{33029, "CKR_TEMPLATE_INCOMPLETE", "", nullptr, nullptr},
    Row{33030, "CKR_TEMPLATE_INCONSISTENT", "writeContainerName", kContainer, kContainerAdvice},
    Row{33030, "CKR_TEMPLATE_INCONSISTENT", "", nullptr, nullptr},
};

bool hasWord(std::string_view words, std::string_view word) {
    while (!words.empty()) {
        const std::string_view first = words.substr(0, words.find(' '));
        if (first == word) {
            return true;
        }
        words.remove_prefix(std::min(words.size(), first.size() + 1));
    }
    return false;
}

/// The code that the plug-in answers for a result.
unsigned int codeOf(std::string_view result) {
    const auto* row =
        std::find_if(kRows.begin(), kRows.end(), [&](const Row& entry) { return entry.result == result; });
    return row == kRows.end() ? kAnyOther : row->code;
}

/// The call that decided a script's outcome: the first of the last calls in a row that failed with one result of this
/// code; the calls after it only pass the result on. The script may have recovered from earlier failures, and later
/// ones may not count.
const FailedCall* decisiveCall(unsigned int code, const std::vector<FailedCall>& calls) {
    const FailedCall* decisive = nullptr;
    for (auto call = calls.rbegin(); call != calls.rend(); ++call) {
        if (decisive != nullptr && call->result != decisive->result) {
            break;
        }
        if (codeOf(cryptoki::resultName(call->result)) == code) {
            decisive = &*call;
        }
    }
    return decisive;
}

/// The call that failed when the module's readers were listed. A name is looked up in what the list holds, so that
/// every reader is unknown then.
const FailedCall* failedListing(const std::vector<FailedCall>& calls) {
    const auto call =
        std::find_if(calls.begin(), calls.end(), [](const FailedCall& each) { return each.method == "getSlotVector"; });
    return call == calls.end() ? nullptr : &*call;
}

Advice adviceForListing(const FailedCall& call) {
    return {cryptoki::resultName(call.result),
            "the module did not list its readers: it refused the call " + call.function,
            "No reader can be found before that is mended. Does a service that the module needs run? Look at "
            "\"--trace -\" and at the module's own log."};
}

bool isAt(const Row& row, const FailedCall& call, const Circumstances& circumstances) {
    const std::string_view places = row.places;
    return places.empty() || hasWord(places, circumstances.script) || hasWord(places, call.method) ||
           hasWord(places, call.function) || (circumstances.isInJob && hasWord(places, "job"));
}

Advice general(unsigned int code) {
    const ClientCode& entry = clientCode(code);
    return {"", entry.meaning, entry.advice};
}

Advice adviceForCall(unsigned int code, const FailedCall& call, const Circumstances& circumstances) {
    Advice advice = general(code);
    advice.result = cryptoki::resultName(call.result);
    const auto* row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& entry) {
        return entry.code == code && entry.result == advice.result && isAt(entry, call, circumstances);
    });
    if (row != kRows.end()) {
        advice.meaning = row->meaning == nullptr ? advice.meaning : row->meaning;
        advice.remedy = row->remedy == nullptr ? advice.remedy : row->remedy;
    } else {
        advice.meaning = "the module refused the call " + call.function;
    }
    return advice;
}

} // namespace

Advice adviceFor(unsigned int code, const Circumstances& circumstances) {
    const FailedCall* listing = code == kNoSuchSlot ? failedListing(circumstances.failures.calls) : nullptr;
    if (listing != nullptr) {
        return adviceForListing(*listing);
    }
    const FailedCall* call = decisiveCall(code, circumstances.failures.calls);
    if (call != nullptr) {
        return adviceForCall(code, *call, circumstances);
    }
    Advice advice = general(code);
    if (code == kBadParameter && !circumstances.failures.parameter.empty()) {
        advice.meaning = "parameter " + circumstances.failures.parameter;
    }
    return advice;
}

Advice adviceForSilence(const Circumstances& circumstances) {
    const std::vector<FailedCall>& calls = circumstances.failures.calls;
    return calls.empty()
               ? Advice{"", "the plug-in reports success but gave no result",
                        "\"--trace -\" shows which call of the module failed."}
               : adviceForCall(codeOf(cryptoki::resultName(calls.back().result)), calls.back(), circumstances);
}

} // namespace host
