#pragma once

#include <optional>
#include <string>

#include "host/plugin/Answers.h"
#include "host/plugin/Calls.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/FailureNotes.h"
#include "host/plugin/Output.h"
#include "host/plugin/PluginLibrary.h"

namespace host {

/// The module to use, as creation parameters of the plug-in.
struct ModuleChoice {
    std::string module; ///< file name; empty: none was named
    std::optional<std::string> readerPrefix;
};

/// The answer to one script.
struct ScriptAnswer {
    std::string script;
    ResponsePtr response;
    std::optional<Thrown> thrown;
    Failures failures;

    /// Status of the answer: that of its "ERROR" or of its exception; Failed for no response, for one without "ERROR",
    /// and for success without the output that the script promises.
    [[nodiscard]] ExitStatus status() const;
};

/// The one executor of a command: made and initialised, later terminated and freed.
class Session {
public:
    /// Makes the executor and initialises it without parameters. PluginError when the plug-in gives none, or one that
    /// is not ready. `plugin` must outlive the session.
    Session(const Plugin& plugin, const ModuleChoice& choice);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    [[nodiscard]] Zel::ClientOperationExecutor& executor() const noexcept { return *m_executor; }

    /// Runs a script and destroys `parameters`. Interrupted when the program was asked to end before.
    [[nodiscard]] ScriptAnswer run(const std::string& script, std::optional<ParameterList> parameters);

private:
    FailureNotes m_notes; ///< first, so that it also sees how the executor is made and freed
    ExecutorPtr m_executor;
};

/// Creation parameters for the module and the prefix.
[[nodiscard]] ParameterList creationParameters(const ModuleChoice& choice);

} // namespace host
