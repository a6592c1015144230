#pragma once

#include <string>
#include <vector>

#include "host/plugin/Calls.h"
#include "host/plugin/PluginLibrary.h"

namespace bench {

/// An operation for the plug-in. Arguments are `ID=VALUE` as on p11host's command line.
[[nodiscard]] host::Operation makeOperation(const std::string& script, const std::vector<std::string>& arguments);

/// The plug-in with one executor, driven through its exported functions as every host does, and ready for scripts on
/// the token of one slot. Throws std::runtime_error when something fails.
class Executor {
public:
    /// `pin`: the user PIN for scripts that log in by themselves; may be empty.
    Executor(const std::string& moduleFile, const std::string& pin);

    [[nodiscard]] Zel::ClientOperationExecutor& get() const { return *m_executor; }
    /// Chooses the reader with this name.
    void chooseReader(const std::string& name) const;

    /// Nothing is looked at: what is measured.
    void run(host::Operation& operation) const { m_executor->execute(&operation)->destroy(); }
    /// The response, which has to say success.
    host::ResponsePtr mustRun(host::Operation& operation) const;

private:
    host::PluginLibrary m_library;
    host::ExecutorPtr m_executor;
};

} // namespace bench
