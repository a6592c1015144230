#include "host/cli/Pages.h"

#include "host/cli/CommandTable.h"
#include "host/cli/Help.h"

namespace host {

namespace {

/// The day of the last change to what the pages say beside the tables; a build has to be the same on every day.
constexpr const char* kDate = "2026-11-22";

/// Text in which nothing is an order to the formatter.
std::string plain(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if ((c == '.' || c == '\'') && (result.empty() || result.back() == '\n')) {
            result += "\\&";
        }
        if (c == '\\') {
            result += "\\e";
        } else if (c == '-') {
            result += "\\-";
        } else {
            result += c;
        }
    }
    return result;
}

std::string section(const std::string& title) {
    return ".SH " + title + "\n";
}

/// A name and, indented below it, what it means.
std::string item(const std::string& name, const std::string& meaning) {
    return ".TP\n.B " + plain(name) + "\n" + plain(meaning) + "\n";
}

/// Paragraphs, and lines that stand as they are.
std::string notes(const std::string& text, bool isBelowTitle = false) {
    std::string result;
    std::string line;
    bool isVerbatim = false;
    bool isFirst = isBelowTitle;
    for (const char c : text) {
        if (c != '\n') {
            line += c;
            continue;
        }
        const bool isIndented = line.substr(0, 1) == " ";
        if (isIndented != isVerbatim) {
            result += isIndented ? (isFirst ? ".nf\n" : ".PP\n.nf\n") : ".fi\n";
        }
        result += (isIndented || isFirst ? "" : ".PP\n") + plain(line) + "\n";
        isFirst = false;
        isVerbatim = isIndented;
        line.clear();
    }
    return isVerbatim ? result + ".fi\n" : result;
}

std::string items(const std::vector<HelpRow>& rows) {
    std::string text;
    for (const HelpRow& row : rows) {
        text += item(row.name, row.meaning);
    }
    return text;
}

std::string script(const Script& script) {
    std::string text;
    for (const ScriptParameter& parameter : script.parameters) {
        text += item(written(parameter), meaningOf(parameter));
    }
    if (!script.outputs.empty()) {
        text += ".PP\nIt answers, beside ERROR:\n";
    }
    for (const ScriptOutput& output : script.outputs) {
        text += item(output.id, output.help);
    }
    text += notes(script.notes);
    std::string example;
    for (const std::string& line : exampleLines(script)) {
        example += "  " + line + "\n";
    }
    return text + notes(example);
}

std::string commands(bool areScripts) {
    std::string text;
    for (const CommandRow& row : commandTable()) {
        if ((row.script != nullptr) == areScripts) {
            text += ".SS " + plain(usageOf(row)) + "\n" + plain(row.summary) + ".\n" + notes(row.notes) +
                    items(operandRows(row.operands)) + items(optionRows(row.options)) +
                    (areScripts ? script(*row.script) : "");
        }
    }
    return text;
}

std::string head(const char* name, const char* number, const std::string& version) {
    return std::string(".TH ") + name + " " + number + " " + kDate + " \"p11host " + version + "\"\n";
}

} // namespace

std::string programPage(const std::string& version) {
    return head("P11HOST", "1", version) + section("NAME") +
           "p11host \\- drive a smart card or token through the PKCS #11 plug\\-in\n" + section("SYNOPSIS") +
           ".B p11host\n[OPTIONS] COMMAND\n" + section("DESCRIPTION") +
           "Loads the plug\\-in as a host does and runs one command, or a whole job. Results go to standard output,\n"
           "messages to standard error.\n" +
           section("OPTIONS") + items(optionRows(commonOptions())) + section("COMMANDS") + commands(false) +
           section("SCRIPTS") +
           "Each script of the plug\\-in is a command. Its arguments are checked before anything is called.\n" +
           commands(true) + section("VALUES") + items(kindRows()) + section("ENVIRONMENT") +
           item("P11HOST_MODULE", "the PKCS #11 module when --module is not given") + section("EXIT STATUS") +
           items(statusRows()) + section("SEE ALSO") + ".BR p11host\\-job (5)\n";
}

std::string jobPage(const std::string& version) {
    std::string text = head("P11HOST-JOB", "5", version) + section("NAME") + "p11host\\-job \\- jobs of p11host\n" +
                       section("DESCRIPTION") + notes(jobNotes(), true) + section("PARAMETERS");
    text += "Parameters are an object as above, whose values are texts or have one of the kinds of\n.BR p11host (1)\n"
            "as their key, or a list:\n";
    text += notes("  [{\"id\":\"PINID\",\"encoding\":2,\"type\":3,\"value\":\"USER\"}]\n");
    text += section("ANSWERS") + notes("  {\"step\":1,\"call\":\"initialize\",\"on\":\"default\",\"ok\":true}\n"
                                       "  {\"step\":2,\"call\":\"execute\",\"on\":\"default\",\"response\":\n"
                                       "   {\"id\":\"2\",\"parameters\":\n"
                                       "    [{\"id\":\"ERROR\",\"encoding\":2,\"type\":3,\"value\":\"0\"}]}}\n"
                                       "  {\"step\":3,\"error\":\"line 4: ...\"}\n"
                                       "An answer with a failing ERROR has a \"message\" for a person beside it; an "
                                       "exception has \"type\", \"code\" and \"message\".\n",
                                       true);
    for (const Script* call : {&creation(), &access()}) {
        text += ".SS \"" + std::string("Parameters of ") + call->name + "\"\n" + script(*call);
    }
    return text + section("SEE ALSO") + ".BR p11host (1)\n";
}

} // namespace host
