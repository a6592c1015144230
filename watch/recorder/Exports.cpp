#include "watch/recorder/Exports.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <span>
#include <string_view>

#include "watch/calls/Messages.h"
#include "watch/recorder/RealModule.h"
#include "watch/recorder/RecordedCall.h"
#include "watch/recorder/WatchedLists.h"

using namespace watch;

namespace {

std::span<const std::uint8_t> bytesOf(const CK_UTF8CHAR* text) noexcept {
    return {text, std::strlen(reinterpret_cast<const char*>(text))};
}

void writeName(JsonLine& line, const CK_UTF8CHAR* name) noexcept {
    line.key("name");
    name == nullptr ? line.null() : line.text(bytesOf(name));
}

void writeVersion(JsonLine& line, const CK_VERSION* version) noexcept {
    line.key("version");
    if (version == nullptr) {
        line.null();
    } else {
        line.open('[').number(version->major).number(version->minor).close(']');
    }
}

/// The interface, and whether its calls are recorded.
void writeInterface(JsonLine& line, const CK_INTERFACE& interface, bool isWatched) noexcept {
    const CK_VERSION version = versionOf(interface);
    line.open('{');
    writeName(line, interface.pInterfaceName);
    writeVersion(line, version.major == 0 ? nullptr : &version);
    line.key("flags").number(interface.flags).key("recorded").boolean(isWatched).close('}');
}

void writeAbsent(JsonLine& line, const CK_FUNCTION_LIST& list) noexcept {
    line.key("absent").open('[');
#define WATCH_ABSENT(function)                                                                                         \
    if (list.function == nullptr) {                                                                                    \
        line.name(#function);                                                                                          \
    }
    WATCH_FUNCTIONS(WATCH_ABSENT)
#undef WATCH_ABSENT
    line.close(']');
}

void finish(RecordedCall& call, CK_RV result) noexcept {
    call.outputs().close('}');
    call.finish(result);
}

/// The module's function list, as it hands it out.
CK_RV realList(CK_FUNCTION_LIST** list) {
    const RealModule real = realModule();
    return real.getFunctionList == nullptr ? CKR_LIBRARY_LOAD_FAILED : real.getFunctionList(list);
}

/// Stands in for the module's list, or is that list where no room is left, because the module's interfaces took it.
CK_FUNCTION_LIST* listFor(CK_FUNCTION_LIST* real) noexcept {
    CK_FUNCTION_LIST* const watched = watchedList(real);
    if (watched == nullptr) {
        say("p11watch", "the module has more function lists than can be recorded; calls of this one pass and are not "
                        "recorded");
        return real;
    }
    return watched;
}

/// The list that stands in for the module's one. A module may hand out a new list with each call: the first one counts.
CK_RV getWatchedList(CK_FUNCTION_LIST*& list) {
    static std::atomic<CK_FUNCTION_LIST*> s_list = nullptr;
    list = s_list;
    if (list != nullptr) {
        return CKR_OK;
    }
    CK_FUNCTION_LIST* real = nullptr;
    const CK_RV result = realList(&real);
    if (result != CKR_OK || real == nullptr) {
        return result;
    }
    // Another thread may have been faster: the exchange then gives its list.
    CK_FUNCTION_LIST* const made = listFor(real);
    list = s_list.compare_exchange_strong(list, made) ? made : list;
    return CKR_OK;
}

/// The one interface of a module that knows none.
CK_RV getOwnInterface(CK_UTF8CHAR* name, const CK_VERSION* version, CK_INTERFACE** interface, CK_FLAGS flags) {
    CK_FUNCTION_LIST* list = nullptr;
    const CK_RV result = getWatchedList(list);
    if (result != CKR_OK || list == nullptr) {
        return result == CKR_OK ? CKR_FUNCTION_FAILED : result;
    }
    static CK_INTERFACE s_interface = interfaceOver(list); // there is one list
    const bool isMeant = (name == nullptr || std::ranges::equal(bytesOf(name), bytesOf(s_interface.pInterfaceName))) &&
                         (version == nullptr || std::memcmp(version, &list->version, sizeof *version) == 0);
    if (!isMeant || flags != 0) {
        return CKR_FUNCTION_FAILED;
    }
    *interface = &s_interface;
    return CKR_OK;
}

CK_RV listOwnInterface(CK_INTERFACE* interfaces, CK_ULONG* count) {
    CK_INTERFACE* own = nullptr;
    const CK_RV result = getOwnInterface(nullptr, nullptr, &own, 0);
    const CK_ULONG room = *count;
    *count = 1;
    if (result != CKR_OK || interfaces == nullptr) {
        return result;
    }
    if (room < 1) {
        return CKR_BUFFER_TOO_SMALL;
    }
    *interfaces = *own;
    return CKR_OK;
}

CK_RV getWatchedInterface(const RealModule& real, CK_UTF8CHAR* name, CK_VERSION* version, CK_INTERFACE** interface,
                          CK_FLAGS flags, RecordedCall& call) {
    const bool hasInterfaces = real.getInterface != nullptr;
    const CK_RV result = hasInterfaces ? real.getInterface(name, version, interface, flags)
                                       : getOwnInterface(name, version, interface, flags);
    if (result == CKR_OK && *interface != nullptr) {
        CK_INTERFACE* const watched = hasInterfaces ? watchedInterface(*interface) : *interface;
        call.outputs().key("interface");
        writeInterface(call.outputs(), *watched, watched != *interface || !hasInterfaces);
        *interface = watched;
    }
    return result;
}

CK_RV listRealInterfaces(const RealModule& real, CK_INTERFACE* interfaces, CK_ULONG* count, RecordedCall& call) {
    const CK_ULONG room = *count;
    const CK_RV result = real.getInterfaceList(interfaces, count);
    if (result != CKR_OK || interfaces == nullptr) {
        return result;
    }
    call.outputs().key("interfaces").open('[');
    for (CK_INTERFACE& interface : std::span(interfaces, std::min(*count, room))) {
        const CK_INTERFACE* const watched = watchedInterface(&interface);
        const bool isWatched = watched != &interface;
        interface = *watched;
        writeInterface(call.outputs(), interface, isWatched);
    }
    call.outputs().close(']');
    return result;
}

} // namespace

extern "C" {

CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    RecordedCall call("C_GetFunctionList");
    call.inputs().open('{').close('}');
    call.outputs().open('{');
    if (list == nullptr) {
        finish(call, CKR_ARGUMENTS_BAD);
        return CKR_ARGUMENTS_BAD;
    }
    const CK_RV result = getWatchedList(*list);
    if (result == CKR_OK && *list != nullptr) {
        writeVersion(call.outputs(), &(*list)->version);
        writeAbsent(call.outputs(), **list);
    }
    finish(call, result);
    return result;
}

CK_RV C_GetInterfaceList(CK_INTERFACE* interfaces, CK_ULONG* count) {
    RecordedCall call("C_GetInterfaceList");
    call.inputs().open('{').key("interfaces").boolean(interfaces != nullptr).close('}');
    call.outputs().open('{');
    const RealModule real = realModule();
    CK_RV result = CKR_ARGUMENTS_BAD;
    if (count != nullptr) {
        result = real.getInterfaceList == nullptr ? listOwnInterface(interfaces, count)
                                                  : listRealInterfaces(real, interfaces, count, call);
        call.outputs().key("count").length(*count);
    }
    finish(call, result);
    return result;
}

CK_RV C_GetInterface(CK_UTF8CHAR* name, CK_VERSION* version, CK_INTERFACE** interface, CK_FLAGS flags) {
    RecordedCall call("C_GetInterface");
    call.inputs().open('{');
    writeName(call.inputs(), name);
    writeVersion(call.inputs(), version);
    call.inputs().key("flags").number(flags).close('}');
    call.outputs().open('{');
    const RealModule real = realModule();
    CK_RV result = CKR_ARGUMENTS_BAD;
    if (interface != nullptr) {
        result = getWatchedInterface(real, name, version, interface, flags, call);
    }
    finish(call, result);
    return result;
}

} // extern "C"
