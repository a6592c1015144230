#include "plugin/Exports.h"

#include <new>
#include <optional>
#include <utility>

#include "client/InstanceCounts.h"
#include "client/PKCS11Client.h"
#include "platform/ForcedUnwind.h"
#include "platform/StandardOutput.h"
#include "scripts/ScriptTable.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Trace.h"

using namespace plugin;

namespace {

/// What the creation parameters say.
struct Creation {
    platform::DynamicLibrary library;
    Zel::TString libraryName;
    Zel::TString readerPrefix;
};

Zel::TString hexOfUtf8(const Zel::TString& text) {
    const SecretBuffer utf8 = TString2Utf8(text);
    return Binary2TStringHex(utf8.data(), utf8.size());
}

bool loadLibrary(const Trace& trace, const Zel::TString& name, Creation& creation) {
    creation.libraryName = name;
    platform::DynamicLibrary library = platform::DynamicLibrary::load(name.c_str());
    if (!library.isLoaded()) {
        trace.failure(L"LoadLibrary %ws : failed", name);
        platform::writeStandardOutput(Zel::TString().format(L"LoadLibrary %ws : failed", name.c_str()).c_str());
        return false;
    }
    trace.write(TraceLevel::Value, L": Load PKCS#11 Library %ws (0x%x)", name,
                reinterpret_cast<std::uintptr_t>(library.handle()));
    // A repeated DLLNAME unloads the library that the earlier one named.
    creation.library = std::move(library);
    return true;
}

bool readCreation(const Trace& trace, const Zel::Vector<Zel::Parameter>* params, Creation& creation) {
    for (const Zel::Parameter& parameter : elements(params)) {
        if (parameter.getId().compareIgnoreCase(L"DLLNAME") == 0) {
            if (!loadLibrary(trace, parameter.getValue(), creation)) {
                return false;
            }
        } else if (parameter.getId().compareIgnoreCase(L"readerPrefix") == 0) {
            creation.readerPrefix = hexOfUtf8(parameter.getValue());
        }
    }
    if (creation.libraryName.empty()) {
        trace.failure(L"PKCS#11 DLL not specified");
        return false;
    }
    return true;
}

/// Null when memory is short for the executor or one of its members.
Zel::ClientOperationExecutor* construct(Creation creation) {
    try {
        return new (std::nothrow)
            PKCS11Client(std::move(creation.library), creation.libraryName, creation.readerPrefix, scriptTable());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Zel::ClientOperationExecutor* makeExecutor(const Trace& trace, const Zel::Vector<Zel::Parameter>* params) {
    std::uint32_t error = 0;
    if (!instances::createMutex(error)) {
        trace.failure(L":  CreateMutex failed (error %d)", error);
        return nullptr;
    }
    Creation creation;
    if (!readCreation(trace, params, creation)) {
        return nullptr;
    }
    const int count = instances::add(creation.libraryName);
    trace.write(TraceLevel::Value, L":  InstancesCount = %d (%ws)", count, creation.libraryName);
    Zel::ClientOperationExecutor* const executor = construct(std::move(creation));
    trace.write(TraceLevel::Value, L"<-- Output Param %ws", executor != nullptr ? L"ClientOperationExecutor" : L"NULL");
    return executor;
}

} // namespace

Zel::ClientOperationExecutor* newInstance(Zel::Vector<Zel::Parameter>* params) {
    return traced(Trace(L"newInstance", Trace::kExports), [&](const Trace& trace) -> Zel::ClientOperationExecutor* {
        try {
            return makeExecutor(trace, params);
        } catch (const platform::ForcedUnwind&) {
            throw;
        } catch (...) {
            // Memory is short, or the host's vector throws: the host gets null.
            return nullptr;
        }
    });
}

void freeInstance(Zel::ClientOperationExecutor* executor) {
    traced(Trace(L"freeInstance", Trace::kExports), [&](const Trace& trace) {
        trace.write(TraceLevel::Value, L": Releasing plugin instance");
        if (executor != nullptr) {
            executor->deletingDestructor(Zel::BaseDLLInterface::kFreeStorage);
        }
    });
}
