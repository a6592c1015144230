#pragma once

#include "tests/conformance/Harness.h"

#include <string>
#include <vector>

// What tests of scripts that search objects and read their attributes share.

namespace Conformance {

/// The bytes of a CK_ULONG attribute as a dump shows them on this system.
[[nodiscard]] inline std::string numberDump(CK_ULONG value) {
    return Fake::hex(Fake::ulongBytes(value));
}

/// {4, "PKCS11Client::method: text"}, with or without a dump.
[[nodiscard]] inline TraceLine valueLine(const std::string& method, const std::string& text,
                                         const std::optional<std::string>& dump = std::nullopt) {
    return {4, "PKCS11Client::" + method + ": " + text, dump};
}

/// An entry of a search template; without a dump where its value is null.
struct SearchEntry {
    CK_ATTRIBUTE_TYPE type;
    std::optional<std::string> dump;
};

/// C_FindObjectsInit of the reading scripts: handle, count, and for each entry first the value, then the type.
[[nodiscard]] inline Trace searchTrace(const std::string& method, CK_SESSION_HANDLE session,
                                       const std::vector<SearchEntry>& entries) {
    Trace trace = sessionCall(method, "C_FindObjectsInit", session);
    trace += in(method, "ulAttCount", static_cast<CK_ULONG>(entries.size()));
    int index = 0;
    for (const SearchEntry& entry : entries) {
        trace += {valueLine(method, textf("--> Template[%d].pValue", index), entry.dump),
                  valueLine(method, textf("--> Template[%d].type=0x%x", index, low(entry.type)))};
        ++index;
    }
    return trace;
}

/// C_FindObjects as announced.
[[nodiscard]] inline Trace askedNext(const std::string& method, CK_SESSION_HANDLE session) {
    return sessionCall(method, "C_FindObjects", session) + Trace{valueLine(method, "--> MaxObjectCount=1")};
}

/// C_FindObjects and what it answered.
[[nodiscard]] inline Trace foundTrace(const std::string& method, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
    return askedNext(method, session) + out(method, "hObject", object) + Trace{valueLine(method, "<-- ObjectCount=1")};
}
[[nodiscard]] inline Trace foundNothing(const std::string& method, CK_SESSION_HANDLE session) {
    return askedNext(method, session) + out(method, "hObject", 0) + Trace{valueLine(method, "<-- ObjectCount=0")};
}

/// C_FindObjectsFinal.
[[nodiscard]] inline Trace searchEnd(const std::string& method, CK_SESSION_HANDLE session) {
    return sessionCall(method, "C_FindObjectsFinal", session);
}

/// C_GetAttributeValue as announced by scripts that read one attribute.
[[nodiscard]] inline Trace askedValue(const std::string& method, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                      CK_ATTRIBUTE_TYPE type) {
    return sessionCall(method, "C_GetAttributeValue", session) + in(method, "hObject", object) +
           in(method, "Template.type", type);
}

/// One attribute read in two passes: announced twice, then its type and value.
[[nodiscard]] inline Trace valueRead(const std::string& method, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                     CK_ATTRIBUTE_TYPE type, const std::string& dump) {
    const Trace asked = askedValue(method, session, object, type);
    return asked + asked + out(method, "Template.type", type) + Trace{valueLine(method, "<-- Template.value=", dump)};
}

} // namespace Conformance
