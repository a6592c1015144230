#include "client/ResultCodes.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

struct Row {
    CK_RV rv;
    std::uint32_t clientCode;
};

constexpr std::uint32_t kAnyOther = 33013;

// In ascending order of value. The gaps are deliberate: hosts rely on them.
constexpr std::array kRows{
    Row{CKR_OK, 0},
    Row{CKR_HOST_MEMORY, 33014},
    Row{CKR_SLOT_ID_INVALID, 33001},
    Row{CKR_GENERAL_ERROR, 33015},
    Row{CKR_FUNCTION_FAILED, 33016},
    Row{CKR_ARGUMENTS_BAD, 33017},
    Row{CKR_ATTRIBUTE_READ_ONLY, 33017},
    Row{CKR_ATTRIBUTE_SENSITIVE, 33017},
    Row{CKR_ATTRIBUTE_TYPE_INVALID, 33017},
    Row{CKR_ATTRIBUTE_VALUE_INVALID, 33017},
    Row{CKR_DATA_INVALID, 33017},
    Row{CKR_DATA_LEN_RANGE, 33017},
    Row{CKR_DEVICE_ERROR, 33018},
    Row{CKR_DEVICE_MEMORY, 33014},
    Row{CKR_DEVICE_REMOVED, 33003},
    Row{CKR_FUNCTION_NOT_SUPPORTED, 33012},
    Row{CKR_KEY_HANDLE_INVALID, 33019},
    Row{CKR_KEY_SIZE_RANGE, 33019},
    Row{CKR_KEY_TYPE_INCONSISTENT, 33019},
    Row{CKR_PIN_INCORRECT, 33006},
    Row{CKR_PIN_INVALID, 33006},
    Row{CKR_PIN_LEN_RANGE, 33020},
    Row{CKR_PIN_EXPIRED, 33007},
    Row{CKR_PIN_LOCKED, 33007},
    Row{CKR_SESSION_CLOSED, 33021},
    Row{CKR_SESSION_COUNT, 33022},
    Row{CKR_SESSION_HANDLE_INVALID, 33023},
    Row{CKR_SESSION_PARALLEL_NOT_SUPPORTED, 33024},
    Row{CKR_SESSION_READ_ONLY, 33025},
    Row{CKR_SESSION_EXISTS, 33026},
    Row{CKR_SESSION_READ_ONLY_EXISTS, 33027},
    Row{CKR_SESSION_READ_WRITE_SO_EXISTS, 33028},
    Row{CKR_TEMPLATE_INCOMPLETE, 33029},
    Row{CKR_TEMPLATE_INCONSISTENT, 33030},
    Row{CKR_TOKEN_NOT_PRESENT, 33003},
    Row{CKR_TOKEN_NOT_RECOGNIZED, 33002},
    Row{CKR_USER_NOT_LOGGED_IN, 33008},
    Row{CKR_USER_ANOTHER_ALREADY_LOGGED_IN, 33009},
    // Hosts take CKR_FUNCTION_REJECTED for a mutex fault; the standard's CKR_MUTEX_BAD (0x1a0) has no client code.
    Row{CKR_FUNCTION_REJECTED, 33012},
};

constexpr bool below(const Row& a, const Row& b) {
    return a.rv < b.rv;
}
static_assert(std::is_sorted(kRows.begin(), kRows.end(), below));

} // namespace

Zel::TString hexNumberText(std::uint32_t number) {
    wchar_t digits[8];
    wchar_t* first = std::end(digits);
    do {
        *--first = L"0123456789abcdef"[number & 0xF];
        number >>= 4;
    } while (number != 0);
    return {first, static_cast<int>(std::end(digits) - first)};
}

Zel::TString clientErrorCode(CK_RV rv) {
    const auto row = std::lower_bound(kRows.begin(), kRows.end(), Row{rv, 0}, below);
    return hexNumberText(row != kRows.end() && row->rv == rv ? row->clientCode : kAnyOther);
}

Zel::TString plugin::errorText(const Result& result) {
    return result.isClientCode() ? hexNumberText(result.clientCode()) : clientErrorCode(result.rv());
}
