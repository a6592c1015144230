#include "cryptoki/ResultNames.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

#include "cryptoki/cryptoki.h"

namespace cryptoki {

namespace {

struct Name {
    std::uint32_t result;
    std::string_view text;
};

#define NAME(result)                                                                                                   \
    Name {                                                                                                             \
        static_cast<std::uint32_t>(result), #result                                                                    \
    }
constexpr std::array kNames{
    NAME(CKR_OK),
    NAME(CKR_CANCEL),
    NAME(CKR_HOST_MEMORY),
    NAME(CKR_SLOT_ID_INVALID),
    NAME(CKR_GENERAL_ERROR),
    NAME(CKR_FUNCTION_FAILED),
    NAME(CKR_ARGUMENTS_BAD),
    NAME(CKR_NO_EVENT),
    NAME(CKR_NEED_TO_CREATE_THREADS),
    NAME(CKR_CANT_LOCK),
    NAME(CKR_ATTRIBUTE_READ_ONLY),
    NAME(CKR_ATTRIBUTE_SENSITIVE),
    NAME(CKR_ATTRIBUTE_TYPE_INVALID),
    NAME(CKR_ATTRIBUTE_VALUE_INVALID),
    NAME(CKR_ACTION_PROHIBITED),
    NAME(CKR_DATA_INVALID),
    NAME(CKR_DATA_LEN_RANGE),
    NAME(CKR_DEVICE_ERROR),
    NAME(CKR_DEVICE_MEMORY),
    NAME(CKR_DEVICE_REMOVED),
    NAME(CKR_ENCRYPTED_DATA_INVALID),
    NAME(CKR_ENCRYPTED_DATA_LEN_RANGE),
    NAME(CKR_FUNCTION_CANCELED),
    NAME(CKR_FUNCTION_NOT_PARALLEL),
    NAME(CKR_FUNCTION_NOT_SUPPORTED),
    NAME(CKR_KEY_HANDLE_INVALID),
    NAME(CKR_KEY_SIZE_RANGE),
    NAME(CKR_KEY_TYPE_INCONSISTENT),
    NAME(CKR_KEY_NOT_NEEDED),
    NAME(CKR_KEY_CHANGED),
    NAME(CKR_KEY_NEEDED),
    NAME(CKR_KEY_INDIGESTIBLE),
    NAME(CKR_KEY_FUNCTION_NOT_PERMITTED),
    NAME(CKR_KEY_NOT_WRAPPABLE),
    NAME(CKR_KEY_UNEXTRACTABLE),
    NAME(CKR_MECHANISM_INVALID),
    NAME(CKR_MECHANISM_PARAM_INVALID),
    NAME(CKR_OBJECT_HANDLE_INVALID),
    NAME(CKR_OPERATION_ACTIVE),
    NAME(CKR_OPERATION_NOT_INITIALIZED),
    NAME(CKR_PIN_INCORRECT),
    NAME(CKR_PIN_INVALID),
    NAME(CKR_PIN_LEN_RANGE),
    NAME(CKR_PIN_EXPIRED),
    NAME(CKR_PIN_LOCKED),
    NAME(CKR_SESSION_CLOSED),
    NAME(CKR_SESSION_COUNT),
    NAME(CKR_SESSION_HANDLE_INVALID),
    NAME(CKR_SESSION_PARALLEL_NOT_SUPPORTED),
    NAME(CKR_SESSION_READ_ONLY),
    NAME(CKR_SESSION_EXISTS),
    NAME(CKR_SESSION_READ_ONLY_EXISTS),
    NAME(CKR_SESSION_READ_WRITE_SO_EXISTS),
    NAME(CKR_SIGNATURE_INVALID),
    NAME(CKR_SIGNATURE_LEN_RANGE),
    NAME(CKR_TEMPLATE_INCOMPLETE),
    NAME(CKR_TEMPLATE_INCONSISTENT),
    NAME(CKR_TOKEN_NOT_PRESENT),
    NAME(CKR_TOKEN_NOT_RECOGNIZED),
    NAME(CKR_TOKEN_WRITE_PROTECTED),
    NAME(CKR_UNWRAPPING_KEY_SIZE_RANGE),
    NAME(CKR_UNWRAPPING_KEY_TYPE_INCONSISTENT),
    NAME(CKR_USER_ALREADY_LOGGED_IN),
    NAME(CKR_USER_NOT_LOGGED_IN),
    NAME(CKR_USER_PIN_NOT_INITIALIZED),
    NAME(CKR_USER_TYPE_INVALID),
    NAME(CKR_USER_ANOTHER_ALREADY_LOGGED_IN),
    NAME(CKR_USER_TOO_MANY_TYPES),
    NAME(CKR_WRAPPED_KEY_INVALID),
    NAME(CKR_WRAPPED_KEY_LEN_RANGE),
    NAME(CKR_WRAPPING_KEY_HANDLE_INVALID),
    NAME(CKR_WRAPPING_KEY_SIZE_RANGE),
    NAME(CKR_WRAPPING_KEY_TYPE_INCONSISTENT),
    NAME(CKR_RANDOM_SEED_NOT_SUPPORTED),
    NAME(CKR_RANDOM_NO_RNG),
    NAME(CKR_DOMAIN_PARAMS_INVALID),
    NAME(CKR_CURVE_NOT_SUPPORTED),
    NAME(CKR_BUFFER_TOO_SMALL),
    NAME(CKR_SAVED_STATE_INVALID),
    NAME(CKR_INFORMATION_SENSITIVE),
    NAME(CKR_STATE_UNSAVEABLE),
    NAME(CKR_CRYPTOKI_NOT_INITIALIZED),
    NAME(CKR_CRYPTOKI_ALREADY_INITIALIZED),
    NAME(CKR_MUTEX_BAD),
    NAME(CKR_MUTEX_NOT_LOCKED),
    NAME(CKR_NEW_PIN_MODE),
    NAME(CKR_NEXT_OTP),
    NAME(CKR_EXCEEDED_MAX_ITERATIONS),
    NAME(CKR_FIPS_SELF_TEST_FAILED),
    NAME(CKR_LIBRARY_LOAD_FAILED),
    NAME(CKR_PIN_TOO_WEAK),
    NAME(CKR_PUBLIC_KEY_INVALID),
    NAME(CKR_FUNCTION_REJECTED),
    // From version 3 of the standard; the header is older.
    Name{0x201, "CKR_TOKEN_RESOURCE_EXCEEDED"},
    Name{0x202, "CKR_OPERATION_CANCEL_FAILED"},
    Name{0x203, "CKR_KEY_EXHAUSTED"},
};
#undef NAME

std::string hexadecimal(std::uint32_t number) {
    char digits[8];
    return {digits, std::to_chars(std::begin(digits), std::end(digits), number, 16).ptr};
}

} // namespace

std::string resultName(std::uint32_t result) {
    const auto* name =
        std::find_if(kNames.begin(), kNames.end(), [result](const Name& entry) { return entry.result == result; });
    return name == kNames.end() ? "result 0x" + hexadecimal(result) : std::string(name->text);
}

std::optional<std::uint32_t> resultNumber(std::string_view name) noexcept {
    const auto* found =
        std::find_if(kNames.begin(), kNames.end(), [name](const Name& entry) { return entry.text == name; });
    if (found != kNames.end()) {
        return found->result;
    }
    constexpr std::string_view kUnnamed = "result ";
    name.remove_prefix(name.starts_with(kUnnamed) ? kUnnamed.size() : 0);
    if (!name.starts_with("0x")) {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    const char* const end = name.data() + name.size();
    const std::from_chars_result read = std::from_chars(name.data() + 2, end, number, 16);
    return read.ec == std::errc() && read.ptr == end ? std::optional(number) : std::nullopt;
}

} // namespace cryptoki
