#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include "cryptoki/Version3.h"
#include "tests/watch/module/Loud.h"
#include "watch/calls/Binding.h"

// A PKCS#11 module whose every function succeeds, and puts the marker into every buffer that it may fill.

using namespace watch;

namespace {

Loud::Control g_control;

CK_ULONG putMarker(Word address, CK_ULONG room) {
    const auto length = std::min<CK_ULONG>(room, Loud::kMarker.size());
    if (address != 0) {
        std::memcpy(pointer<char>(address), Loud::kMarker.data(), length);
    }
    return length;
}

void answerQuery(const Word* words) {
    for (CK_ATTRIBUTE& attribute : std::span(pointer<CK_ATTRIBUTE>(words[0]), words[1])) {
        if (attribute.type == CKA_CLASS && attribute.ulValueLen == sizeof(CK_OBJECT_CLASS)) {
            *static_cast<CK_OBJECT_CLASS*>(attribute.pValue) = g_control.objectClass;
        } else if (g_control.length != 0) {
            attribute.ulValueLen = g_control.length;
        } else {
            attribute.ulValueLen = putMarker(toWord(attribute.pValue), attribute.ulValueLen);
        }
    }
}

void answer(Kind kind, const Word* words) {
    if (kind == Kind::Query) {
        answerQuery(words);
    } else if (kind == Kind::SessionOut || kind == Kind::ObjectOut || kind == Kind::SlotOut ||
               kind == Kind::NumberOut) {
        *pointer<CK_ULONG>(words[0]) = Loud::kHandle;
    } else if (kind == Kind::RandomOut) {
        putMarker(words[0], static_cast<CK_ULONG>(words[1]));
    } else if (kind == Kind::MaskedOut || kind == Kind::BytesOut) {
        CK_ULONG& length = *pointer<CK_ULONG>(words[1]);
        const CK_ULONG filled = putMarker(words[0], length);
        length = g_control.length != 0 ? g_control.length : filled;
    } else if (kind == Kind::ObjectsOut && words[0] != 0) {
        *pointer<CK_OBJECT_HANDLE>(words[0]) = Loud::kHandle;
        *pointer<CK_ULONG>(words[2]) = g_control.length != 0 ? g_control.length : 1;
    } else if (kind == Kind::SlotsOut || kind == Kind::MechanismsOut) {
        *pointer<CK_ULONG>(words[1]) = g_control.length;
    }
}

struct Handler {
    template <auto kMember, class... Parameters>
    static CK_RV call(FunctionId id, Words words, Parameters...) {
        const Word* next = words.data();
        for (const Argument& argument : functionOf(id).arguments) {
            answer(argument.kind, next);
            next += parametersOf(argument.kind);
        }
        if (g_control.during != nullptr) {
            g_control.during();
        }
        return g_control.result;
    }
};

/// Lists in which nothing is null, for bindFunctions to copy.
template <class List>
List filled() {
    List list;
    std::memset(static_cast<void*>(&list), 0x5A, sizeof list);
    return list;
}

CK_RV getFunctionList(CK_FUNCTION_LIST** list);

CK_FUNCTION_LIST makeList(CK_BYTE major, CK_BYTE minor) {
    CK_FUNCTION_LIST list{};
    bindFunctions<Handler>(list, filled<CK_FUNCTION_LIST>());
    list.version = {major, minor};
    list.C_GetFunctionList = getFunctionList;
    list.C_CancelFunction = nullptr;
    return list;
}

CK_FUNCTION_LIST g_lists[] = {makeList(2, 40), makeList(2, 40), makeList(2, 40)};

CK_FUNCTION_LIST_3_0 makeList3(CK_BYTE minor) {
    CK_FUNCTION_LIST_3_0 list{makeList(3, minor), {}};
    bindFunctions<Handler>(list.added, filled<CK_FUNCTIONS_3_0>());
    return list;
}

CK_FUNCTION_LIST_3_0 g_list3 = makeList3(0);
CK_FUNCTION_LIST_3_0 g_newer = makeList3(2);
CK_UTF8CHAR g_standard[] = "PKCS 11";
CK_UTF8CHAR g_vendor[] = "Vendor Loud";
CK_INTERFACE g_interfaces[] = {
    {g_standard, &g_list3, CKF_INTERFACE_FORK_SAFE},
    {g_standard, &g_lists[0], 0},
    {g_vendor, &g_lists[0], 0},
    {g_standard, &g_newer, 0},
};

CK_RV getFunctionList(CK_FUNCTION_LIST** list) {
    if (g_control.beforeList != nullptr) {
        g_control.beforeList();
    }
    *list = &g_lists[g_control.list];
    return CKR_OK;
}

} // namespace

extern "C" {

LOUD_EXPORT Loud::Control* loudControl() {
    return &g_control;
}

LOUD_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    return getFunctionList(list);
}

LOUD_EXPORT CK_RV C_GetInterfaceList(CK_INTERFACE* interfaces, CK_ULONG* count) {
    if (interfaces != nullptr) {
        std::copy_n(g_interfaces, std::min<CK_ULONG>(*count, std::size(g_interfaces)), interfaces);
    }
    *count = std::size(g_interfaces);
    return CKR_OK;
}

/// The interface of that number in the list: flags say which one.
LOUD_EXPORT CK_RV C_GetInterface(CK_UTF8CHAR*, CK_VERSION*, CK_INTERFACE** interface, CK_FLAGS flags) {
    // Several threads may ask at once, so each list has an interface of its own.
    static CK_INTERFACE s_overLists[] = {
        {g_standard, &g_lists[0], 0}, {g_standard, &g_lists[1], 0}, {g_standard, &g_lists[2], 0}};
    *interface = flags == 1 ? &s_overLists[g_control.list] : &g_interfaces[flags];
    return CKR_OK;
}

} // extern "C"
