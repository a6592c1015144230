#include <algorithm>
#include <memory>

#include "host/card/TokenChoice.h"
#include "host/cli/desk/DeskArguments.h"
#include "host/cli/desk/IssueCommands.h"
#include "host/cli/desk/ProgressLines.h"
#include "host/cli/desk/TerminalProgress.h"
#include "host/desk/engine/Issuing.h"
#include "host/desk/engine/PlannedRun.h"
#include "host/plugin/Answers.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Secrets.h"
#include "host/x509/Hash.h"
#include "platform/Process.h"
#include "platform/Streams.h"

namespace host {

namespace {

constexpr std::size_t kLongestStation = 64;

/// Plan and list, read and found to fit together.
struct Work {
    desk::Plan plan;
    std::vector<desk::ListedPerson> persons;
};

Work readWork(const CardArguments& arguments) {
    const std::string& file = arguments.operands.front();
    const std::optional<std::string> list = arguments.value("--cards");
    if (!list) {
        throw UsageError("--cards is missing: the list of persons, a CSV file");
    }
    Work work;
    work.plan = desk::readPlan(charactersOf(readFile(file)), printable(file));
    const WipedBytes bytes = readFile(*list);
    work.persons = desk::readPersonList(charactersOf(bytes), *list, work.plan.columns);
    desk::checkPersons(work.persons, *list, work.plan);
    return work;
}

std::string stationOf(const CardArguments& arguments) {
    const std::string station = arguments.value("--station").value_or("station");
    const bool isPlain = std::all_of(station.begin(), station.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '_';
    });
    if (station.empty() || station.size() > kLongestStation || !isPlain) {
        throw UsageError("--station takes 1 to 64 letters, digits, \"-\" and \"_\"");
    }
    return station;
}

/// A trace on the same terminal would break what is redrawn, and a dumb terminal cannot go back.
bool canRedraw(const Options& options) {
    return options.trace != "-" && platform::environmentText("TERM") != "dumb" && platform::resultWindow().has_value();
}

std::unique_ptr<desk::Progress> progressOf(const Options& options, const Output& output) {
    const std::string how = options.card.value("--progress").value_or(options.json ? "json" : "auto");
    if (how == "json") {
        return std::make_unique<JsonProgress>(output);
    }
    if (how == "none") {
        return std::make_unique<NoProgress>();
    }
    if (how != "auto" && how != "lines") {
        throw UsageError("--progress takes auto, lines, json or none");
    }
    if (how == "auto" && canRedraw(options)) {
        return std::make_unique<TerminalProgress>(output, [] {
            return platform::resultWindow().value_or(platform::TerminalWindow{80, 24});
        });
    }
    return std::make_unique<PlainProgress>(output);
}

/// The values themselves do not go to the journal; a list that was changed has to be noticed.
std::string digestOf(const desk::RowValues& values) {
    x509::Hasher hasher(x509::Hash::Sha256);
    for (const std::string& value : values) {
        hasher.update(x509::viewOf(std::to_string(value.size()) + ":" + value));
    }
    const x509::Bytes digest = hasher.finish();
    return hexadecimalText({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

std::vector<desk::DeskRow> rowsOf(const std::vector<desk::ListedPerson>& persons) {
    std::vector<desk::DeskRow> rows;
    rows.reserve(persons.size());
    for (const desk::ListedPerson& person : persons) {
        rows.push_back({static_cast<std::int64_t>(rows.size()) + 1, person.values.front(), digestOf(person.values)});
    }
    return rows;
}

desk::DeskPlan deskPlanOf(const desk::Plan& plan) {
    desk::DeskPlan result{plan.name, plan.digest, {}};
    for (const desk::Step& step : plan.steps) {
        result.steps.emplace_back(nameOf(step.kind));
    }
    return result;
}

void requireModule(const Options& options) {
    if (options.choice.module.empty()) {
        throw UsageError("no PKCS#11 module is named; give --module FILE, or set P11HOST_MODULE");
    }
}

std::vector<std::string> namesOfSteps(const desk::Plan& plan) {
    return deskPlanOf(plan).steps;
}

/// Which readers there are and which of them take part.
Json readersOf(const Options& options) {
    const PluginLibrary plugin = PluginLibrary::load(options.plugin);
    const Session session(plugin.plugin(), options.choice);
    const ModuleView view(options.choice.module);
    const std::vector<SlotView> slots = view.slots();
    const std::vector<std::string> names = shownNames(slots);
    const std::vector<std::string> patterns = options.card.values("--readers");
    Json readers = Json::array();
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const bool isMeant = patterns.empty() || std::any_of(patterns.begin(), patterns.end(), [&](const auto& p) {
                                 return desk::fitsGlob(names[i], p);
                             });
        if (isMeant) {
            readers.push_back({{"reader", names[i]}, {"state", stateOf(slots[i])}});
        }
    }
    return readers;
}

ExitStatus showPlan(const Options& options, const Output& output, const Work& work) {
    desk::requirePrograms(work.plan);
    [[maybe_unused]] const desk::CardSecrets secrets(work.plan); // each can be had
    const Json readers = readersOf(options);
    const std::vector<std::string> steps = namesOfSteps(work.plan);
    if (options.json) {
        const Json line = {{"command", "issue"},     {"ok", true},     {"dryRun", true},
                           {"plan", work.plan.name}, {"steps", steps}, {"rows", work.persons.size()},
                           {"readers", readers}};
        return writeResult(output, jsonLine(line));
    }
    std::string text = "Plan \"" + printable(work.plan.name) + "\" for " + std::to_string(work.persons.size()) +
                       " persons. Each card gets these steps:\n";
    for (const std::string& step : steps) {
        text += "  " + step + "\n";
    }
    text += "Readers that take part:\n";
    for (const Json& reader : readers) {
        text +=
            "  " + printable(reader["reader"].get<std::string>()) + " (" + reader["state"].get<std::string>() + ")\n";
    }
    text += readers.empty() ? "  none\n" : "";
    return writeResult(output, text + "Nothing was changed.\n");
}

ExitStatus conclude(desk::Progress& progress, const desk::Journal::Totals& totals, desk::Outcome outcome) {
    progress.tellStand({totals.done, totals.failed, totals.total()});
    if (outcome == desk::Outcome::Interrupted) {
        return ExitStatus::Failed; // the program says so and ends with the signal's status
    }
    progress.tell({desk::Event::Kind::End, "", 0, "", "",
                   std::to_string(totals.done) + " cards are done, " + std::to_string(totals.failed) + " failed"});
    return outcome == desk::Outcome::AllDone ? ExitStatus::Success : ExitStatus::Failed;
}

} // namespace

ExitStatus issueCards(const Options& options, const Output& output) {
    requireModule(options);
    if (options.reader) {
        throw UsageError("\"issue\" works in all readers, or in those of --readers GLOB; --reader is for one card");
    }
    const Work work = readWork(options.card);
    const std::string station = stationOf(options.card);
    const std::unique_ptr<desk::Progress> progress = progressOf(options, output);
    if (options.card.has("--dry-run")) {
        return showPlan(options, output, work);
    }
    [[maybe_unused]] const std::string named = requiredDesk(options); // before a module is loaded
    desk::requirePrograms(work.plan);
    const desk::CardSecrets secrets(work.plan);
    const PluginLibrary plugin = PluginLibrary::load(options.plugin);
    // The first executor initialises the module, and finalises it after all others have gone.
    const Session session(plugin.plugin(), options.choice);
    const ModuleView view(options.choice.module);
    desk::Journal journal = openDesk(options, output, desk::IfMissing::Make, [&](const std::string& text) {
        progress->tell({desk::Event::Kind::Note, "", 0, "", "", text});
    });
    journal.holdStation(station);
    journal.setUp(deskPlanOf(work.plan), rowsOf(work.persons));
    const desk::Bench bench{work.plan,       work.persons,   {journal, secrets, *progress},
                            plugin.plugin(), options.choice, view};
    desk::Outcome outcome = desk::Outcome::Interrupted;
    {
        desk::Issuing issuing(bench, station, options.card.values("--readers"));
        outcome = issuing.run();
    }
    return conclude(*progress, journal.totals(), outcome);
}

} // namespace host
