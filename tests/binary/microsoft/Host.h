#pragma once

#include <string>

#include "tests/binary/microsoft/Declarations.h"

/// A plug-in's file with the framework beside it, loaded for as long as the process runs.
class LoadedPlugin {
public:
    /// Empty: the plug-in beside the program.
    explicit LoadedPlugin(const std::wstring& folder = {});

    [[nodiscard]] bool isLoaded() const { return newInstance != nullptr && freeInstance != nullptr; }

    /// An executor on the scripted module.
    [[nodiscard]] Zel::Executor* makeExecutor() const;

    Zel::Executor* (*newInstance)(Zel::Vector<Zel::Parameter>* parameters) = nullptr;
    void (*freeInstance)(Zel::Executor* executor) = nullptr;
};

/// An operation as a host makes it. It remembers which of its four callbacks the plug-in called.
class HostOperation final : public Zel::Operation {
public:
    HostOperation(const wchar_t* script, const Zel::Vector<Zel::Parameter>* parameters)
        : m_script(script), m_parameters(parameters) {}

    void destroy() override { delete this; }
    [[nodiscard]] Zel::Text getId() const override;
    [[nodiscard]] Zel::Text getScriptType() const override;
    [[nodiscard]] Zel::Text getScript() const override;
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override;

    enum Callback : unsigned { kGetId = 1, kGetScriptType = 2, kGetScript = 4, kGetParameters = 8, kAll = 15 };
    mutable unsigned called = 0;

private:
    const wchar_t* m_script;
    const Zel::Vector<Zel::Parameter>* m_parameters;
};
