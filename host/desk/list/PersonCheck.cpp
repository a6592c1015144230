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

/// An argument that begins with a value must not become an option.
void checkArguments(const PlannedCommand& command, const RowValues& row) {
    for (const Template& argument : command.arguments) {
        const std::string text = argument.beginsWithColumn() ? argument.expand(row) : "";
        if (text.substr(0, 1) == "-") {
            throw UsageError("\"" + printable(text) + "\" would be an option of a command");
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
