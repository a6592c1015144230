#include "host/view/ModuleFindings.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "host/plugin/Texts.h"
#include "host/view/JsonFields.h"
#include "host/view/ScriptNeeds.h"

namespace host {

namespace {

std::string secondsText(std::chrono::nanoseconds duration) {
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(duration).count()) + " s";
}

constexpr const char* kHangs = "The module hangs there: look whether the reader is plugged in, whether its service "
                               "runs, and whether another program holds the card.";

/// The end of the process, or a person's, in the middle of a step.
void addEnd(const Examination& examination, Findings& findings) {
    if (examination.underWay.empty()) {
        return;
    }
    if (!examination.stopped.empty()) {
        findings.push_back({Level::Fault,
                            examination.underWay + " " + examination.stopped + "; the examination was ended there",
                            examination.isOverdue ? kHangs : "Ask the vendor, and send the report."});
    } else if (examination.isInterrupted) {
        findings.push_back({Level::Fault,
                            examination.underWay + " was under way for " + secondsText(examination.waited) +
                                " when you interrupted it",
                            kHangs});
    } else {
        findings.push_back({Level::Fault,
                            "the module ended the process in " + examination.underWay + " (" + examination.end + ")",
                            "A host that loads this module ends with it: ask the vendor, and send the report."});
    }
}

/// A file that this system does not load, in a person's words.
Finding foreignFile(const Json& library) {
    const std::string kind = textIn(library, "kind");
    const std::string wanted = textIn(library, "wanted");
    std::string meaning = "is no library for this system";
    if (kind.substr(0, 4) == "text" || kind.substr(0, 5) == "empty") {
        meaning = kind == "text" ? "is a text file" : "is empty";
    } else if (kind.substr(0, kind.find(',')) != wanted.substr(0, wanted.find(','))) {
        meaning = kind.substr(0, 2) == "PE"    ? "is a library for Windows"
                  : kind.substr(0, 3) == "ELF" ? "is a library for Linux"
                                               : meaning;
    } else if (kind.find(" 32 bits") != std::string::npos) {
        meaning = "is a 32-bit module, and p11host is a 64-bit program";
    } else if (kind.find("no library") == std::string::npos) {
        meaning = "was made for another processor";
    }
    return {Level::Fault, "the file " + meaning + ": it is \"" + kind + "\", wanted is \"" + wanted + "\"",
            "Ask the card's vendor for the PKCS#11 module for this system, and name its file with --module."};
}

/// Returns false when the module was not loaded.
bool addLoading(const Json& facts, Findings& findings) {
    const Json library = facts.value("library", Json());
    if (library.is_object() && !library.value("fits", true)) {
        findings.push_back(foreignFile(library));
        return false;
    }
    if (!facts.contains("loadError")) {
        return true;
    }
    for (const Json& missing : listIn(facts, "missing")) {
        findings.push_back({Level::Fault,
                            "the library " + textIn(missing, "name") + ", which " + textIn(missing, "neededBy") +
                                " needs, cannot be loaded: " + textIn(missing, "reason"),
                            "Install the package that has it, or put it where the loader looks."});
    }
    findings.push_back({Level::Fault, "the module cannot be loaded: " + textIn(facts, "loadError"),
                        "Name the card vendor's PKCS#11 module by its full path with --module."});
    return false;
}

bool isAmong(const std::string& function, const std::vector<const char*>& functions) {
    return std::find(functions.begin(), functions.end(), function) != functions.end();
}

/// The scripts, and kinds of objects of a script that needs it for these alone.
std::vector<std::string> scriptsThatNeed(const std::string& function) {
    std::vector<std::string> names;
    for (const ScriptNeeds& script : scriptNeeds()) {
        if (isAmong(function, script.functions)) {
            names.emplace_back(script.script);
            continue;
        }
        for (const ObjectNeeds& object : script.objects) {
            if (isAmong(function, object.functions)) {
                names.push_back(std::string(script.script) + " of " + object.type);
            }
        }
    }
    return names;
}

void addHoles(const Json& functions, Findings& findings) {
    std::vector<std::string> unused;
    for (const Json& name : listIn(functions, "missing")) {
        const std::vector<std::string> scripts = scriptsThatNeed(name.get<std::string>());
        if (scripts.empty()) {
            unused.push_back(name.get<std::string>());
        } else {
            findings.push_back({Level::Warning, name.get<std::string>() + " is missing; needed by " + joined(scripts),
                                "These scripts fail with CKR_FUNCTION_NOT_SUPPORTED: ask the vendor."});
        }
    }
    if (!unused.empty()) {
        findings.push_back({Level::Note, "functions that no script needs are missing: " + joined(unused), ""});
    }
}

/// Returns false when the functions cannot be called.
bool addFunctions(const Json& facts, Findings& findings) {
    if (!facts.contains("functions")) {
        return false; // the process ended before
    }
    const Json functions = facts["functions"];
    if (!functions.is_object()) {
        findings.push_back(
            {Level::Fault, "the library is no PKCS#11 module: it gives no list of functions",
             "Name the card vendor's PKCS#11 module with --module; its driver has other libraries, too."});
        return false;
    }
    if (functions.value("foreign", false)) {
        findings.push_back({Level::Fault, "the list of functions has another packing than this system's modules have",
                            "The module was built with the wrong compiler setting: ask the vendor."});
        return false;
    }
    const Json astray = listIn(functions, "astray");
    if (!astray.empty()) {
        findings.push_back({Level::Fault,
                            "the list of functions is damaged: these entries lead nowhere: " +
                                joined(astray.get<std::vector<std::string>>()),
                            "Calling one ends the process: ask the vendor."});
        return false;
    }
    addHoles(functions, findings);
    return true;
}

/// Returns false when the fields of structures are not where they should be.
bool addLayout(const Json& facts, Findings& findings) {
    const Json layout = facts.value("layout", Json());
    if (!layout.is_object()) {
        return true;
    }
    const std::string foreign = textIn(layout, "foreign");
    if (!foreign.empty()) {
        findings.push_back(
            {Level::Fault,
             "the module's structures are " + foreign + "; on this system they are " + textIn(layout, "own"),
             "The module was built with the wrong compiler setting: ask the vendor."});
        return false;
    }
    if (!layout.value("known", true)) {
        findings.push_back({Level::Warning, "C_GetInfo does not fill its structure as the standard has it",
                            "Versions and lengths of this module may be wrong: ask the vendor."});
    }
    return true;
}

/// Calls that failed. What a token does not answer is said of the token.
void addFailedCalls(const std::map<std::string, CallTimes>& calls, Findings& findings) {
    for (const auto& [function, times] : calls) {
        if (function == "C_GetTokenInfo" || function == "C_OpenSession") {
            continue;
        }
        for (const auto& [result, count] : times.failures) {
            if (count > 0 && result != "CKR_FUNCTION_NOT_SUPPORTED") {
                const bool isFatal = function == "C_Initialize" || function == "C_GetSlotList";
                findings.push_back(
                    {isFatal ? Level::Fault : Level::Warning,
                     function + " answered " + result + (count > 1 ? ", " + std::to_string(count) + " times" : ""),
                     isFatal ? "The module's own log or its configuration says why."
                             : "Run it again; if it comes again, look into the module's own log."});
            }
        }
    }
}

bool hasAnswered(const Examination& examination, const char* function) {
    const auto found = examination.calls.find(function);
    if (found == examination.calls.end()) {
        return false;
    }
    int failed = 0;
    for (const auto& [result, count] : found->second.failures) {
        failed += count;
    }
    return failed == 0;
}

void addInfo(const Examination& examination, Findings& findings) {
    const std::string version = textIn(examination.facts.value("info", Json()), "cryptoki");
    const std::string major = version.substr(0, version.find('.'));
    if (!version.empty() && major != "2" && major != "3") {
        findings.push_back({Level::Warning, "the module says that it follows PKCS#11 " + version,
                            "Versions 2 and 3 exist: its structures may be laid out otherwise."});
    }
    if (hasAnswered(examination, "C_GetSlotList") && examination.underWay.empty() &&
        !examination.facts.contains("slots")) {
        findings.push_back({Level::Warning, "the module lists no readers",
                            "Plug the reader in, and look whether its driver and service run (pcscd on Linux)."});
    }
}

} // namespace

bool addModuleFindings(const Examination& examination, Findings& findings) {
    addEnd(examination, findings);
    const bool comesThrough = addLoading(examination.facts, findings) && addFunctions(examination.facts, findings) &&
                              addLayout(examination.facts, findings);
    addFailedCalls(examination.calls, findings);
    addInfo(examination, findings);
    return comesThrough && hasAnswered(examination, "C_Initialize") && hasAnswered(examination, "C_GetSlotList");
}

} // namespace host
