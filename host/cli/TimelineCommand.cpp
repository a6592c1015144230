#include "host/cli/TimelineCommand.h"

#include <filesystem>

#include "host/cli/OutFile.h"
#include "host/plugin/Answers.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/view/CallReader.h"
#include "host/view/Pictures.h"
#include "host/view/Statistics.h"
#include "host/view/TextFile.h"
#include "host/view/Trace.h"

namespace host {

namespace {

enum class Form { Page, Picture, Tables, Json };

/// UsageError for options that contradict each other.
Form formOf(const Options& options) {
    const CardArguments& arguments = options.card;
    const int count = (arguments.has("--text") ? 1 : 0) + (arguments.has("--svg") ? 1 : 0) + (options.json ? 1 : 0);
    if (count > 1) {
        throw UsageError("timeline takes one of --text, --svg and --json");
    }
    if (count == 0 && !arguments.has("--out")) {
        throw UsageError("timeline takes --out FILE for the page, or --text for tables on the terminal");
    }
    if (options.json) {
        return Form::Json;
    }
    return arguments.has("--text") ? Form::Tables : (arguments.has("--svg") ? Form::Picture : Form::Page);
}

view::Timeline readTimeline(const CardArguments& arguments) {
    view::Trace trace;
    if (const std::optional<std::string> file = arguments.value("--from-trace")) {
        trace = view::readTrace(view::readWhole(*file, "trace"), *file);
    }
    return view::makeTimeline(view::readCalls(arguments.operands.front()), trace);
}

Json totalsJson(const view::Timeline& timeline) {
    Json functions = Json::array();
    for (const view::Total& total : view::totalsOf(timeline)) {
        functions.push_back({{"function", total.function},
                             {"count", total.count},
                             {"failed", total.failures},
                             {"sum", static_cast<std::int64_t>(total.sum)},
                             {"median", total.median},
                             {"percentile95", total.percentile},
                             {"longest", total.longest}});
    }
    Json failures = Json::array();
    for (const view::FailureGroup& group : view::failuresOf(timeline)) {
        failures.push_back({{"function", group.function}, {"result", group.result}, {"count", group.count}});
    }
    return {{"command", "timeline"},          {"ok", true},
            {"calls", timeline.calls.size()}, {"failed", timeline.failures},
            {"functions", functions},         {"failures", failures},
            {"notes", timeline.notes}};
}

std::string drawn(const view::Timeline& timeline, Form form) {
    switch (form) {
    case Form::Json:
        return jsonLine(totalsJson(timeline));
    case Form::Tables:
        return view::tablesOf(timeline);
    case Form::Picture:
        return view::pictureOf(timeline);
    default:
        return view::pageOf(timeline);
    }
}

/// Beside the result: what is wrong with the record must not be overlooked.
void showNotes(const view::Timeline& timeline, Form form, const Output& output) {
    for (const std::string& note : timeline.notes) {
        if (form != Form::Tables) {
            complain(output, note);
        }
    }
}

ExitStatus deliver(const std::string& text, const std::optional<std::string>& file, const Output& output) {
    if (!file) {
        return writeResult(output, text);
    }
    const std::optional<std::string> reason = replaceFile(*file, text);
    if (reason) {
        complain(output, "cannot write the file \"" + *file + "\": " + *reason);
    }
    return reason ? ExitStatus::Failed : ExitStatus::Success;
}

std::vector<std::string> inputsOf(const CardArguments& arguments) {
    std::vector<std::string> inputs = view::filesOfRecord(arguments.operands.front());
    if (const std::optional<std::string> trace = arguments.value("--from-trace")) {
        inputs.push_back(*trace);
    }
    return inputs;
}

void refuseFolder(const std::string& file) {
    std::error_code ignored;
    if (std::filesystem::is_directory(pathOf(file), ignored)) {
        throw UsageError("--out: \"" + file + "\" is a folder; name a file for the result");
    }
}

ExitStatus answer(const Options& options, const Output& output) {
    const Form form = formOf(options);
    const std::optional<std::string> file = options.card.value("--out");
    if (file) {
        checkOutFile(*file, inputsOf(options.card));
        refuseFolder(*file);
    }
    const view::Timeline timeline = readTimeline(options.card);
    showNotes(timeline, form, output);
    return deliver(drawn(timeline, form), file, output);
}

} // namespace

CommandRow timelineCommand() {
    return {
        "timeline",
        "show a record of calls as a page with a time line",
        {{"FILE", "A record that --watch wrote; FILE.1 is read before it if present"}},
        {{"--out", "FILE", "Write the page, or what --text, --svg and --json give, into FILE"},
         {"--from-trace", "FILE", "Name the scripts and card commands with a trace of the same run"},
         {"--text", "", "Print the tables instead"},
         {"--svg", "", "Draw the picture alone"}},
        "The page needs no network and no other file: calls as bars by thread and session, failures in red, search, "
        "zoom, and a table of what each function took. It shows what the record shows, so send it only to those "
        "who may know who holds the card.\n"
        "  p11host status --watch calls.jsonl --trace trace.jsonl\n"
        "  p11host timeline calls.jsonl --from-trace trace.jsonl --out page.html\n"};
}

ExitStatus runTimeline(const Options& options, const Output& output) {
    try {
        return answer(options, output);
    } catch (const UsageError& error) {
        if (options.json) {
            const Json fault = {{"code", nullptr}, {"result", nullptr}, {"reason", error.what()}, {"remedy", ""}};
            [[maybe_unused]] const bool isWritten =
                output.result(jsonLine({{"command", "timeline"}, {"ok", false}, {"error", fault}}));
        }
        throw;
    }
}

} // namespace host
