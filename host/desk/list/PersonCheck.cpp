#include <algorithm>

#include "host/card/TokenSteps.h"
#include "host/desk/list/ListFaults.h"
#include "host/desk/list/PersonList.h"
#include "host/plugin/Texts.h"
#include "host/x509/AlternativeName.h"
#include "host/x509/Name.h"

namespace host::desk {

namespace {

/// A value in the name of a key file stays a name: it leads to no other folder.
std::string fileValue(std::string_view value) {
    if (value.find_first_of("/\\:") != std::string_view::npos || value == "." || value == "..") {
        throw UsageError("\"" + printable(value) + "\" would name a file in another folder");
    }
    return std::string(value);
}

/// A value in a command's argument does not lead out of the folder that the plan names.
std::string argumentValue(std::string_view value) {
    for (std::size_t begin = 0; begin <= value.size();) {
        const std::size_t end = std::min(value.find_first_of("/\\", begin), value.size());
        if (value.substr(begin, end - begin) == "..") {
            throw UsageError("\"" + printable(value) + "\" would lead a command to another folder");
        }
        begin = end + 1;
    }
    return std::string(value);
}

/// An argument that begins with a value must become neither an option nor a path of the value's own choice.
void checkArguments(const PlannedCommand& command, const RowValues& row) {
    for (const Template& argument : command.arguments) {
        const std::string text = argument.expand(row, argumentValue);
        if (!argument.beginsWithColumn()) {
            continue;
        }
        if (text.substr(0, 1) == "-") {
            throw UsageError("\"" + printable(text) + "\" would be an option of a command");
        }
        if (text.find_first_of("/\\") == 0 || text.substr(1, 2) == ":\\" || text.substr(1, 2) == ":/") {
            throw UsageError("\"" + printable(text) + "\" would lead a command to another folder");
        }
    }
}

void checkStep(const Step& step, const RowValues& row) {
    if (step.kind == StepKind::InitToken) {
        checkTokenLabel(step.label.expand(row));
    }
    if (!step.file.empty()) {
        [[maybe_unused]] const std::string file = step.file.expand(row, fileValue);
    }
    if (step.kind == StepKind::Request) {
        [[maybe_unused]] const x509::Bytes subject = x509::parseSubject(step.subject.expand(row, subjectValue));
    }
    for (const Template& name : step.alternativeNames) {
        [[maybe_unused]] const x509::AlternativeName parsed = x509::AlternativeName::parse(name.expand(row));
    }
}

} // namespace

std::string subjectValue(std::string_view value) {
    std::string escaped;
    for (const char c : value) {
        escaped += std::string_view("/\\=+,").find(c) == std::string_view::npos ? "" : "\\";
        escaped += c;
    }
    return escaped;
}

void checkPersons(const std::vector<ListedPerson>& persons, const std::string& file, const Plan& plan) {
    ListFaults faults(printable(file));
    for (const ListedPerson& person : persons) {
        try {
            for (const Step& step : plan.steps) {
                checkStep(step, person.values);
            }
            checkArguments(plan.authority, person.values);
            for (const auto& [name, source] : plan.secrets) {
                checkArguments(source.command, person.values);
            }
        } catch (const UsageError& error) {
            faults.add(person.line, error.what());
        }
    }
    faults.end();
}

} // namespace host::desk
