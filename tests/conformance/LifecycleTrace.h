#pragma once

#include "platform/DynamicLibrary.h"
#include "tests/conformance/Params.h"
#include "tests/conformance/Trace.h"

#include <cstdint>
#include <string>

// What making and ending an executor writes.

namespace Conformance {

/// An address as "%x" prints it.
[[nodiscard]] inline std::string addressText(const void* address) {
    return textf("0x%x", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(address)));
}

/// The handle that the system has for a library; the same each time as long as the library is loaded.
[[nodiscard]] inline std::string libraryHandle(const std::string& name) {
    return addressText(platform::DynamicLibrary::load(toTString(name).c_str()).handle());
}

[[nodiscard]] inline Trace exported(unsigned level, const std::string& text) {
    return {{level, "zel-coe-pkcs11::" + text}};
}

/// newInstance's line for a library that was loaded; `name` must still be loaded.
[[nodiscard]] inline Trace loadedTrace(const std::string& name) {
    return exported(4, "newInstance: Load PKCS#11 Library " + name + " (" + libraryHandle(name) + ")");
}

[[nodiscard]] inline Trace raisedTrace(int count, const std::string& name) {
    return exported(4, textf("newInstance:  InstancesCount = %d (", count) + name + ")");
}

/// The constructor with these lines between entry and exit.
[[nodiscard]] inline Trace constructorTrace(const Trace& between) {
    return entry("PKCS11Client") + between + leave("PKCS11Client");
}

[[nodiscard]] inline Trace functionListTrace() {
    return call("PKCS11Client", "C_GetFunctionList") +
           Trace{{4, "PKCS11Client::PKCS11Client: Calling pC_GetFunctionList"}};
}

/// The constructor where all goes well.
[[nodiscard]] inline Trace boundTrace() {
    return constructorTrace(functionListTrace() + call("PKCS11Client", "C_Initialize"));
}

/// newInstance with "DLLNAME" alone, the constructor's lines given.
[[nodiscard]] inline Trace newInstanceTrace(const std::string& name, int count, const Trace& constructor) {
    return exported(8, "newInstance") + loadedTrace(name) + raisedTrace(count, name) + constructor +
           exported(4, "newInstance<-- Output Param ClientOperationExecutor") + exported(16, "newInstance");
}

/// The destructor with these lines between the count and the release of the library.
[[nodiscard]] inline Trace destructorTrace(int count, const std::string& name, const Trace& between) {
    return entry("~PKCS11Client") +
           Trace{{4, textf("PKCS11Client::~PKCS11Client:  InstancesCount = %d (", count) + name + ")"}} + between +
           Trace{{4, "PKCS11Client::~PKCS11Client: Releasing CryptoLib"}} + leave("~PKCS11Client");
}

[[nodiscard]] inline Trace finalizedTrace() {
    return call("~PKCS11Client", "C_Finalize");
}

[[nodiscard]] inline Trace notFinalizedTrace() {
    return {{2, "PKCS11Client::~PKCS11Client: C_Finalize not needed"}};
}

[[nodiscard]] inline Trace notReadyTrace() {
    return {{2, "PKCS11Client::~PKCS11Client : Plugin is not ready."}};
}

/// freeInstance around the destructor's lines.
[[nodiscard]] inline Trace freeInstanceTrace(const Trace& destructor) {
    return exported(8, "freeInstance") + exported(4, "freeInstance: Releasing plugin instance") + destructor +
           exported(16, "freeInstance");
}

} // namespace Conformance
