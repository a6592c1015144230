#include <string>
#include <string_view>

#include "host/desk/list/PersonList.h"
#include "host/desk/plan/Plan.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

// A plan, and a list of persons behind the first zero byte: refused with printable lines, or read, and then each person
// has a value for each column, a label that a token takes, and no argument that a value turned into an option.

namespace {

using Fuzz::require;
using host::desk::ListedPerson;
using host::desk::Plan;
using host::desk::PlannedCommand;
using host::desk::Template;

void requireArguments(const PlannedCommand& command, const host::desk::RowValues& values) {
    for (const Template& argument : command.arguments) {
        const std::string text = argument.expand(values);
        require(text.find('\0') == std::string::npos, "an argument ends where it ends");
        require(!argument.beginsWithColumn() || text.front() != '-', "a value is no option");
    }
}

void requirePersons(const Plan& plan, const std::vector<ListedPerson>& persons) {
    require(!persons.empty(), "a list without rows is refused");
    for (const ListedPerson& person : persons) {
        require(person.values.size() == plan.columns.size(), "a value for each column");
        for (const std::string& value : person.values) {
            require(!value.empty(), "no value is empty");
        }
        require(plan.tokenLabel(person.values).size() <= 32, "a label fits into a token");
        requireArguments(plan.authority, person.values);
        for (const auto& [name, source] : plan.secrets) {
            requireArguments(source.command, person.values);
        }
    }
}

void requireReason(std::string reason) {
    require(!reason.empty(), "a refusal says why");
    for (char& c : reason) {
        c = c == '\n' ? ' ' : c;
    }
    require(host::printable(reason) == reason, "a refusal has no orders to the terminal");
}

} // namespace

void Fuzz::batch(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = text.find('\0');
    try {
        const Plan plan = host::desk::readPlan(text.substr(0, end), "plan.json");
        require(!plan.steps.empty() && !plan.columns.empty(), "a plan has steps and columns");
        const std::string_view list = end == std::string_view::npos ? "" : text.substr(end + 1);
        const std::vector<ListedPerson> persons = host::desk::readPersonList(list, "people.csv", plan.columns);
        host::desk::checkPersons(persons, "people.csv", plan);
        requirePersons(plan, persons);
    } catch (const host::UsageError& error) {
        requireReason(error.what());
    }
}
