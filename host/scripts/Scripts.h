#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// What the value of a parameter is, which decides how it may be written.
enum class ValueKind {
    Keyword,     ///< one of a few words, plain
    Flag,        ///< 1 or 0, plain
    Secret,      ///< a PIN
    Text,        ///< bytes of a text
    Label,       ///< bytes of a text without a zero byte
    TokenLabel,  ///< a label of 32 bytes at most
    Identifier,  ///< bytes, CKA_ID
    Name,        ///< a DER sequence as hexadecimal text: a subject or an issuer
    Number,      ///< a DER integer as hexadecimal text
    Certificate, ///< a DER sequence as Base64 text
    PrivateKey,  ///< an unencrypted PKCS #8 structure as Base64 text
    Exponent,    ///< an odd number above 1 as Base64 text
    Block,       ///< any bytes
    Setting,     ///< anything, plain
};

/// When a parameter has to be there.
enum class Need {
    Optional,
    Alone,  ///< in a command; in a job, an earlier step may have given it
    Always, ///< in jobs, too
};

/// A parameter of a script: what checking, help, the manual page and completion know of it.
struct ScriptParameter {
    const char* id;
    ValueKind kind;
    const char* words; ///< of a keyword: "USER|SO"; otherwise empty
    Need need;
    const char* objects;  ///< the values of OBJ_TYPE with which the script looks at it, "A|B"; empty: with each
    const char* help;     ///< a few words
    bool anyCase = false; ///< the plug-in finds it whatever the case of its id
};

/// An output of a script.
struct ScriptOutput {
    const char* id;
    const char* help; ///< one line
};

/// A script as a command of its own.
struct Script {
    const char* name;
    const char* summary; ///< one line
    std::vector<ScriptParameter> parameters;
    std::vector<ScriptOutput> outputs; ///< beside "ERROR"
    std::string errors;                ///< which failures are typical: one a line
    const char* notes;                 ///< what else one should know: paragraphs, one a line
    const char* example;               ///< arguments of a whole command, one or more lines; may be empty
    const char* promise = nullptr;     ///< an output that a success always has; null when the script promises none
};

/// The eighteen scripts in the order in which the plug-in lists them.
[[nodiscard]] const std::vector<Script>& scripts();

/// The script with this name; null for an unknown name.
[[nodiscard]] const Script* findScript(std::string_view name);

/// What "newInstance" and "initialize" take in a job.
[[nodiscard]] const Script& creation();
[[nodiscard]] const Script& access();

/// The id of the output that the script with this name promises; empty when it promises no output.
[[nodiscard]] std::string promiseOf(const std::string& script);

/// The words of "A|B".
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view words);

/// Returns true when the script looks at the parameter with this OBJ_TYPE.
[[nodiscard]] bool looksAt(const ScriptParameter& parameter, std::string_view object);

/// The ways to write a value of this kind on the command line, the best first: "hex:", "text:"; a plain value is "".
[[nodiscard]] std::vector<std::string> waysToWrite(ValueKind kind);

/// How a parameter is best written: "PIN=prompt:", "OBJ_TYPE=CERTIFICATE|ANY", "ID=hex:...".
[[nodiscard]] std::string written(const ScriptParameter& parameter);

} // namespace host
