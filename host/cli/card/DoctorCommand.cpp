#include <algorithm>
#include <charconv>
#include <exception>
#include <memory>
#include <utility>

#include "host/card/CardFailure.h"
#include "host/cli/Help.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/cli/card/Doctor.h"
#include "host/cli/card/DoctorText.h"
#include "host/cli/card/ReportFolder.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Spinner.h"
#include "host/plugin/WatchedModule.h"
#include "host/view/Diagnosis.h"
#include "host/view/Examination.h"
#include "host/view/Examiner.h"
#include "host/view/Findings.h"
#include "host/view/JsonFields.h"
#include "platform/Process.h"

namespace host {

namespace {

constexpr std::size_t kNarrowest = 60;
constexpr std::size_t kReportWidth = 100;

/// What the other process runs: this program, with the calls and their record.
std::vector<std::string> commandFor(const CardRun& run, const std::optional<std::string>& record) {
    std::vector<std::string> command = {platform::executablePath(), "doctor", "--calls", "--module", run.module()};
    if (record) {
        command.insert(command.end(), {"--watch", *record});
    }
    return command;
}

std::chrono::seconds timeLimit(const CardRun& run) {
    constexpr int kMost = 86400;
    const std::optional<std::string> text = run.arguments().value("--time-limit");
    if (!text) {
        return kStepLimit;
    }
    int seconds = 0;
    const char* const end = text->data() + text->size();
    const auto [last, error] = std::from_chars(text->data(), end, seconds);
    if (error != std::errc() || last != end || seconds < 1 || seconds > kMost) {
        throw UsageError("--time-limit takes a number of seconds, 1 to 86400");
    }
    return std::chrono::seconds(seconds);
}

Examination examine(CardRun& run, const std::optional<std::string>& record) {
    std::unique_ptr<Spinner> spinner;
    return runExamination(commandFor(run, record), timeLimit(run), [&](const std::string& step) {
        spinner.reset(); // one at a time
        if (run.drawsProgress()) {
            spinner = std::make_unique<Spinner>("examining the module: " + step, true,
                                                [&](std::string_view text) { run.person().show(text); });
        }
    });
}

void printCalls(CardRun& run) {
    examineModule(run.module(), CallReport([&](const std::string& line) {
                      if (!run.print(line)) {
                          throw CardFailure(ExitStatus::Failed, "examining the module", "nobody reads the report", "");
                      }
                  }));
}

ExitStatus statusOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::Unusable:
        return ExitStatus::NoPlugin;
    case Verdict::Faults:
        return ExitStatus::Failed;
    default:
        return ExitStatus::Success;
    }
}

void checkArguments(const CardRun& run, WriteTest writeTest) {
    if (run.arguments().has("--out") && run.watch()) {
        throw UsageError("--out and --watch exclude each other: the report has a record");
    }
    static_cast<void>(timeLimit(run));
    if (!run.arguments().has("--write-test")) {
        return;
    }
    if (writeTest == nullptr) {
        throw UsageError("--write-test: this build of p11host has no library for certificates, which the test needs");
    }
    if (!run.isTokenNamed()) {
        throw UsageError("--write-test writes to a token: name it on the command line with --reader, --token, --serial "
                         "or a --uri of the token");
    }
}

/// The report as it stands when the module ends this process in this step of the write test.
Json reportAt(const std::string& step, Json report) {
    const std::string id = textIn(report.value("writeTest", Json()), "id");
    const Finding finding = {
        Level::Fault, "write test: p11host ended in the step \"" + step + "\"",
        "The record shows the calls up to that one. " +
            (id.empty() ? std::string("Nothing was written before it.")
                        : "\"p11host remove --id " + id + "\" removes the test credential, if it is there.")};
    putFirst({finding}, report);
    report["underWay"] = "write test: " + step;
    report["verdict"] = nameOf(Verdict::Faults);
    return report;
}

void write(const ReportFolder& folder, const Json& report) {
    folder.write(jsonLine(report), doctorText(report, kReportWidth, ReportDepth::Whole));
}

/// Adds what the write test did. It runs in this process: a module that did not come through the examination is not
/// called here.
void addWriteTest(CardRun& run, WriteTest writeTest, const Examination& examination, const ReportFolder* folder,
                  Diagnosis& diagnosis) {
    if (diagnosis.verdict == Verdict::Unusable) {
        return; // the findings say why nothing can be written
    }
    if (!examination.underWay.empty()) {
        throw CardFailure(ExitStatus::Refused, "the write test",
                          "the module did not come through the examination; nothing was written",
                          "The findings say where it ended.");
    }
    bool isFirst = true;
    const ExitStatus status = writeTest(run, diagnosis.report, [&](const std::string& step) {
        try {
            if (folder != nullptr) {
                write(*folder, reportAt(step, diagnosis.report));
            }
        } catch (const std::exception&) {
            if (isFirst) {
                throw; // nothing was written to the token
            }
        }
        isFirst = false;
    });
    run.status = status == ExitStatus::Success ? run.status : status;
}

/// The answer of the command, and the report in its folder.
void deliver(CardRun& run, const Json& report, const ReportFolder* folder) {
    run.answer = report;
    run.text = doctorText(report, std::max(kNarrowest, helpWidth()), ReportDepth::Summary);
    if (folder != nullptr) {
        write(*folder, report);
        run.text += "The report is in " + *run.arguments().value("--out") + ".\n";
    }
}

/// The same in front of a failure, which counts more than one of the report's own.
void deliverBeforeFailure(CardRun& run, const Json& report, const ReportFolder* folder) {
    try {
        deliver(run, report, folder);
    } catch (const std::exception& error) {
        run.person().tell(std::string("p11host: ") + error.what());
    }
    run.person().show(run.text); // the answer is a failure's
}

} // namespace

void runDoctor(CardRun& run, WriteTest writeTest) {
    if (run.arguments().has("--calls")) {
        return printCalls(run);
    }
    checkArguments(run, writeTest);
    std::optional<ReportFolder> folder;
    if (const std::optional<std::string> path = run.arguments().value("--out")) {
        folder.emplace(*path);
        watchModule(folder->record());
    }
    const Examination examination = examine(run, folder ? folder->record() : run.watch());
    Diagnosis diagnosis = diagnose(run.module(), examination);
    run.status = statusOf(diagnosis.verdict);
    const ReportFolder* const into = folder ? &*folder : nullptr;
    try {
        if (examination.isInterrupted) {
            throw Interrupted();
        }
        if (run.arguments().has("--write-test")) {
            addWriteTest(run, writeTest, examination, into, diagnosis);
        }
    } catch (const std::exception&) {
        deliverBeforeFailure(run, diagnosis.report, into);
        throw;
    }
    try {
        deliver(run, diagnosis.report, into);
    } catch (const std::exception&) {
        run.person().show(run.text);
        throw;
    }
}

CardCommand doctorRow(void (*run)(CardRun& run)) {
    return {"doctor",
            "examine a PKCS #11 module and its tokens",
            {},
            withToken({{"--out", "FOLDER", "Write a report to send to support into FOLDER, which is made"},
                       {"--write-test", "", "Issue and remove a test credential on the token that is named"},
                       {"--pin", "SOURCE", "The user PIN for --write-test; default: prompt"},
                       kYesOption,
                       {"--time-limit", "SECONDS", "End the examination when a step takes longer; default: 120"},
                       {"--calls", "", "Only make the calls, in this process, and print each as JSON"}}),
            "Says whether the module loads, what it lacks, how it is laid out, what its tokens\n"
            "can do, which scripts can work on them, how long its calls take, and what to do.\n"
            "Without --write-test nothing is written to a token and nobody is logged in. The\n"
            "calls are made in a process of its own, so that a module that crashes or hangs is\n"
            "reported. Status 0: in order or with warnings; 1: faults; 3: it cannot be used.\n"
            "  p11host doctor --module vendor.so --out report\n",
            run};
}

} // namespace host
