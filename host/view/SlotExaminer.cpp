#include "host/view/SlotExaminer.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "cryptoki/Names.h"
#include "cryptoki/ResultNames.h"
#include "host/inspect/InfoViews.h"
#include "host/inspect/ModuleCalls.h"

namespace host {

namespace {

constexpr CK_ULONG kMostSlots = 256;
constexpr CK_ULONG kMostMechanisms = 4096;
constexpr CK_ULONG kMostObjects = 10000;

std::string mechanismName(CK_MECHANISM_TYPE type) {
    const std::string_view name = cryptoki::nameOf(cryptoki::NameKind::Mechanism, type);
    return name.empty() ? "mechanism " + std::to_string(type) : std::string(name);
}

/// A list in two passes; empty when the module does not give it or announces more than `most` elements.
template <class Element, class Ask>
std::vector<Element> listOf(const Ask& ask, CK_ULONG most) {
    CK_ULONG count = 0;
    if (ask(static_cast<Element*>(nullptr), &count) != CKR_OK || count == 0 || count > most) {
        return {};
    }
    std::vector<Element> elements(count);
    if (ask(elements.data(), &count) != CKR_OK) {
        return {};
    }
    elements.resize(std::min<std::size_t>(count, elements.size()));
    return elements;
}

Json tokenJson(const TokenView& view, CK_FLAGS flags) {
    const auto known = [](const std::optional<std::uint64_t>& value) { return value ? Json(*value) : Json(nullptr); };
    return {{"label", view.label},
            {"manufacturer", view.manufacturer},
            {"model", view.model},
            {"serial", view.serial},
            {"hardware", view.hardwareVersion},
            {"firmware", view.firmwareVersion},
            {"flags", flags},
            {"initialised", view.isInitialised},
            {"readOnly", view.isReadOnly},
            {"userPinSet", view.hasUserPin},
            {"pinPad", view.hasPinPad},
            {"userPin", nameOf(view.userPin)},
            {"soPin", nameOf(view.officerPin)},
            {"pinLength", {{"shortest", view.shortestPin}, {"longest", known(view.longestPin)}}},
            {"freePublicMemory", known(view.publicMemory.free)},
            {"freePrivateMemory", known(view.privateMemory.free)}};
}

Json slotJson(const CK_SLOT_INFO& info) {
    return {{"reader", readerName(info)},
            {"manufacturer", fieldText(info.manufacturerID)},
            {"hardware", versionText(info.hardwareVersion)},
            {"firmware", versionText(info.firmwareVersion)},
            {"flags",
             {{"tokenPresent", (info.flags & CKF_TOKEN_PRESENT) != 0},
              {"removable", (info.flags & CKF_REMOVABLE_DEVICE) != 0},
              {"hardware", (info.flags & CKF_HW_SLOT) != 0}}}};
}

Json mechanismJson(CK_MECHANISM_TYPE type, const CK_MECHANISM_INFO& info, bool isDescribed) {
    return {{"name", mechanismName(type)},
            {"number", type},
            {"described", isDescribed},
            {"smallestKey", info.ulMinKeySize},
            {"largestKey", info.ulMaxKeySize},
            {"flags", info.flags},
            {"signs", (info.flags & CKF_SIGN) != 0},
            {"generatesKeyPairs", (info.flags & CKF_GENERATE_KEY_PAIR) != 0}};
}

} // namespace

template <auto Member, class... Args>
CK_RV SlotExaminer::ask(const char* name, Args... args) const {
    return m_report.call(name, [&] { return ModuleCalls(m_functions).call<Member>(args...); });
}

void SlotExaminer::run() const {
    const auto askSlots = [this](CK_SLOT_ID* ids, CK_ULONG* count) {
        return ask<&CK_FUNCTION_LIST::C_GetSlotList>("C_GetSlotList", CK_FALSE, ids, count);
    };
    for (const CK_SLOT_ID id : listOf<CK_SLOT_ID>(askSlots, kMostSlots)) {
        readSlot(id);
    }
}

void SlotExaminer::readSlot(CK_SLOT_ID id) const {
    CK_SLOT_INFO info{};
    Json slot = {{"id", id}};
    if (ask<&CK_FUNCTION_LIST::C_GetSlotInfo>("C_GetSlotInfo", id, &info) == CKR_OK) {
        slot.update(slotJson(info));
    }
    CK_TOKEN_INFO token{};
    const CK_RV asked = ask<&CK_FUNCTION_LIST::C_GetTokenInfo>("C_GetTokenInfo", id, &token);
    if (asked == CKR_OK) {
        const TokenView view = tokenView(token);
        slot["token"] = tokenJson(view, token.flags);
        slot["mechanisms"] = mechanisms(id);
        if (view.isInitialised) {
            readSession(id, slot);
        }
    } else if (asked != CKR_TOKEN_NOT_PRESENT) {
        slot["tokenError"] = cryptoki::resultName(static_cast<std::uint32_t>(asked));
    }
    m_report.fact("slot", std::move(slot));
}

Json SlotExaminer::mechanisms(CK_SLOT_ID slot) const {
    const auto askTypes = [&](CK_MECHANISM_TYPE* types, CK_ULONG* count) {
        return ask<&CK_FUNCTION_LIST::C_GetMechanismList>("C_GetMechanismList", slot, types, count);
    };
    Json list = Json::array();
    for (const CK_MECHANISM_TYPE type : listOf<CK_MECHANISM_TYPE>(askTypes, kMostMechanisms)) {
        CK_MECHANISM_INFO info{};
        const bool isDescribed =
            ask<&CK_FUNCTION_LIST::C_GetMechanismInfo>("C_GetMechanismInfo", slot, type, &info) == CKR_OK;
        list.push_back(mechanismJson(type, isDescribed ? info : CK_MECHANISM_INFO{}, isDescribed));
    }
    return list;
}

/// A read-only session without a login, and how many objects it sees.
void SlotExaminer::readSession(CK_SLOT_ID slot, Json& found) const {
    CK_SESSION_HANDLE session = kNoSession;
    const CK_RV rv =
        ask<&CK_FUNCTION_LIST::C_OpenSession>("C_OpenSession", slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session);
    found["session"] = cryptoki::resultName(static_cast<std::uint32_t>(rv));
    if (rv != CKR_OK) {
        return;
    }
    CK_SESSION_INFO info{};
    ask<&CK_FUNCTION_LIST::C_GetSessionInfo>("C_GetSessionInfo", session, &info);
    if (ask<&CK_FUNCTION_LIST::C_FindObjectsInit>("C_FindObjectsInit", session, nullptr, CK_ULONG{0}) == CKR_OK) {
        found["publicObjects"] = countObjects(session);
        ask<&CK_FUNCTION_LIST::C_FindObjectsFinal>("C_FindObjectsFinal", session);
    }
    ask<&CK_FUNCTION_LIST::C_CloseSession>("C_CloseSession", session);
}

std::uint64_t SlotExaminer::countObjects(CK_SESSION_HANDLE session) const {
    std::array<CK_OBJECT_HANDLE, 100> objects{};
    std::uint64_t total = 0;
    CK_ULONG count = 0;
    do {
        count = 0;
        const CK_RV rv = ask<&CK_FUNCTION_LIST::C_FindObjects>("C_FindObjects", session, objects.data(),
                                                               CK_ULONG{objects.size()}, &count);
        count = rv == CKR_OK ? std::min<CK_ULONG>(count, objects.size()) : 0;
        total += count;
    } while (count != 0 && total < kMostObjects);
    return total;
}

} // namespace host
