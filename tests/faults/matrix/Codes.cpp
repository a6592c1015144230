#include "tests/faults/matrix/Codes.h"

#include <map>

namespace Faults {

namespace {

struct Named {
    CK_RV rv;
    const char* name;
};

#define X(name) Named{name, #name},
const Named kNamed[] = {
    X(CKR_OK) X(CKR_CANCEL) X(CKR_HOST_MEMORY) X(CKR_SLOT_ID_INVALID) X(CKR_GENERAL_ERROR) X(CKR_FUNCTION_FAILED) X(
        CKR_ARGUMENTS_BAD) X(CKR_NO_EVENT) X(CKR_NEED_TO_CREATE_THREADS) X(CKR_CANT_LOCK) X(CKR_ATTRIBUTE_READ_ONLY)
        X(CKR_ATTRIBUTE_SENSITIVE) X(CKR_ATTRIBUTE_TYPE_INVALID) X(CKR_ATTRIBUTE_VALUE_INVALID) X(CKR_ACTION_PROHIBITED)
            X(CKR_DATA_INVALID) X(CKR_DATA_LEN_RANGE) X(CKR_DEVICE_ERROR) X(CKR_DEVICE_MEMORY) X(CKR_DEVICE_REMOVED) X(
                CKR_ENCRYPTED_DATA_INVALID) X(CKR_ENCRYPTED_DATA_LEN_RANGE) X(CKR_FUNCTION_CANCELED)
                X(CKR_FUNCTION_NOT_PARALLEL) X(CKR_FUNCTION_NOT_SUPPORTED) X(CKR_KEY_HANDLE_INVALID) X(
                    CKR_KEY_SIZE_RANGE) X(CKR_KEY_TYPE_INCONSISTENT) X(CKR_KEY_NOT_NEEDED) X(CKR_KEY_CHANGED)
                    X(CKR_KEY_NEEDED) X(CKR_KEY_INDIGESTIBLE) X(CKR_KEY_FUNCTION_NOT_PERMITTED) X(CKR_KEY_NOT_WRAPPABLE)
                        X(CKR_KEY_UNEXTRACTABLE) X(CKR_MECHANISM_INVALID) X(CKR_MECHANISM_PARAM_INVALID) X(
                            CKR_OBJECT_HANDLE_INVALID) X(CKR_OPERATION_ACTIVE) X(CKR_OPERATION_NOT_INITIALIZED)
                            X(CKR_PIN_INCORRECT) X(CKR_PIN_INVALID) X(CKR_PIN_LEN_RANGE) X(CKR_PIN_EXPIRED) X(
                                CKR_PIN_LOCKED) X(CKR_SESSION_CLOSED) X(CKR_SESSION_COUNT) X(CKR_SESSION_HANDLE_INVALID)
                                X(CKR_SESSION_PARALLEL_NOT_SUPPORTED) X(CKR_SESSION_READ_ONLY) X(CKR_SESSION_EXISTS) X(
                                    CKR_SESSION_READ_ONLY_EXISTS) X(CKR_SESSION_READ_WRITE_SO_EXISTS)
                                    X(CKR_SIGNATURE_INVALID) X(CKR_SIGNATURE_LEN_RANGE) X(CKR_TEMPLATE_INCOMPLETE) X(
                                        CKR_TEMPLATE_INCONSISTENT) X(CKR_TOKEN_NOT_PRESENT) X(CKR_TOKEN_NOT_RECOGNIZED)
                                        X(CKR_TOKEN_WRITE_PROTECTED) X(CKR_UNWRAPPING_KEY_SIZE_RANGE) X(
                                            CKR_UNWRAPPING_KEY_TYPE_INCONSISTENT) X(CKR_USER_ALREADY_LOGGED_IN)
                                            X(CKR_USER_NOT_LOGGED_IN) X(CKR_USER_PIN_NOT_INITIALIZED) X(
                                                CKR_USER_TYPE_INVALID) X(CKR_USER_ANOTHER_ALREADY_LOGGED_IN)
                                                X(CKR_USER_TOO_MANY_TYPES) X(CKR_WRAPPED_KEY_INVALID) X(
                                                    CKR_WRAPPED_KEY_LEN_RANGE) X(CKR_WRAPPING_KEY_HANDLE_INVALID)
                                                    X(CKR_WRAPPING_KEY_SIZE_RANGE) X(CKR_WRAPPING_KEY_TYPE_INCONSISTENT)
                                                        X(CKR_RANDOM_SEED_NOT_SUPPORTED) X(CKR_RANDOM_NO_RNG)
                                                            X(CKR_DOMAIN_PARAMS_INVALID) X(CKR_CURVE_NOT_SUPPORTED) X(
                                                                CKR_BUFFER_TOO_SMALL) X(CKR_SAVED_STATE_INVALID)
                                                                X(CKR_INFORMATION_SENSITIVE) X(CKR_STATE_UNSAVEABLE) X(
                                                                    CKR_CRYPTOKI_NOT_INITIALIZED)
                                                                    X(CKR_CRYPTOKI_ALREADY_INITIALIZED) X(CKR_MUTEX_BAD)
                                                                        X(CKR_MUTEX_NOT_LOCKED) X(CKR_NEW_PIN_MODE) X(
                                                                            CKR_NEXT_OTP) X(CKR_EXCEEDED_MAX_ITERATIONS)
                                                                            X(CKR_FIPS_SELF_TEST_FAILED)
                                                                                X(CKR_LIBRARY_LOAD_FAILED)
                                                                                    X(CKR_PIN_TOO_WEAK)
                                                                                        X(CKR_PUBLIC_KEY_INVALID)
                                                                                            X(CKR_FUNCTION_REJECTED)
                                                                                                X(CKR_VENDOR_DEFINED)};
#undef X

/// Where hosts know a result under a code of its own; everything else is "80f5".
const std::map<CK_RV, const char*> kClientCodes = {
    {0x00, "0"},    {0x02, "80f6"},  {0x03, "80e9"},  {0x05, "80f7"},  {0x06, "80f8"}, {0x07, "80f9"}, {0x10, "80f9"},
    {0x11, "80f9"}, {0x12, "80f9"},  {0x13, "80f9"},  {0x20, "80f9"},  {0x21, "80f9"}, {0x30, "80fa"}, {0x31, "80f6"},
    {0x32, "80eb"}, {0x54, "80f4"},  {0x60, "80fb"},  {0x62, "80fb"},  {0x63, "80fb"}, {0xA0, "80ee"}, {0xA1, "80ee"},
    {0xA2, "80fc"}, {0xA3, "80ef"},  {0xA4, "80ef"},  {0xB0, "80fd"},  {0xB1, "80fe"}, {0xB3, "80ff"}, {0xB4, "8100"},
    {0xB5, "8101"}, {0xB6, "8102"},  {0xB7, "8103"},  {0xB8, "8104"},  {0xD0, "8105"}, {0xD1, "8106"}, {0xE0, "80eb"},
    {0xE1, "80ea"}, {0x101, "80f0"}, {0x104, "80f1"}, {0x200, "80f4"},
};

std::vector<CK_RV> makeCodes() {
    std::vector<CK_RV> codes;
    for (const Named& named : kNamed) {
        codes.push_back(named.rv);
    }
    codes.push_back(0x7777);
    codes.push_back(0x80001234);
    // Where results are wider than 32 bits, one that looks like a wrong PIN when it is cut.
    if (sizeof(CK_RV) > 4) {
        codes.push_back(static_cast<CK_RV>(0x1000000A0ULL));
    }
    return codes;
}

} // namespace

const std::vector<CK_RV>& allCodes() {
    static const std::vector<CK_RV> codes = makeCodes();
    return codes;
}

std::string clientCodeOf(CK_RV rv) {
    const auto found = kClientCodes.find(rv);
    return found == kClientCodes.end() ? "80f5" : found->second;
}

std::string codeText(CK_RV rv) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string number;
    for (CK_RV rest = rv; rest != 0 || number.empty(); rest >>= 4) {
        number.insert(number.begin(), kDigits[rest & 0xF]);
    }
    number.insert(0, "0x");
    for (const Named& named : kNamed) {
        if (named.rv == rv) {
            return std::string(named.name) + " (" + number + ")";
        }
    }
    return number;
}

} // namespace Faults
