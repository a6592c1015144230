#pragma once

#include <cstdint>
#include <string>

#include "platform/DynamicLibrary.h"
#include "tests/binary/Slot.h"
#include "zel/ClientOperation.h"
#include "zel/ClientOperationExecutor.h"
#include "zel/Parameter.h"
#include "zel/TString.h"
#include "zel/Vector.h"

// A host that knows nothing of the plug-in but its file, the two exported names, and where things stand in an object's
// table: how a program of another maker uses it.

/// The plug-in as it was built, loaded at run time.
class RawPlugin {
public:
    RawPlugin();

    [[nodiscard]] bool isLoaded() const { return m_library.isLoaded(); }
    [[nodiscard]] void* symbol(const char* name) const { return m_library.symbol(name); }
    /// An executor on the named module; no parameter at all when `module` is empty.
    [[nodiscard]] void* newInstance(const std::wstring& module) const;
    void freeInstance(void* executor) const;
    void unload() { m_library.unload(); }

private:
    platform::DynamicLibrary m_library;
};

/// The scripted module's file, as the value of a creation parameter.
[[nodiscard]] std::wstring wideModuleFile();

/// An operation as a host makes it, without parameters.
class RawOperation : public Zel::ClientOperation {
public:
    explicit RawOperation(const wchar_t* script) : m_tsScript(script) {}

    void destroy() override {}
    void* deletingDestructor(unsigned int) override { return this; }
    [[nodiscard]] Zel::TString getId() const override { return L"42"; }
    [[nodiscard]] Zel::TString getScriptType() const override { return L"client.p11.Larkspur"; }
    [[nodiscard]] Zel::TString getScript() const override { return m_tsScript; }
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override { return nullptr; }

private:
    Zel::TString m_tsScript;
};
