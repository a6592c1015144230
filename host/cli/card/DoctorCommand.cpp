#include <algorithm>
#include <exception>
#include <memory>

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

Examination examine(CardRun& run, const std::optional<std::string>& record) {
    std::unique_ptr<Spinner> spinner;
    return runExamination(commandFor(run, record), [&](const std::string& step) {
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

/// Adds what the write test did. It runs in this process: a module that did not come through the examination is not
/// called here.
void addWriteTest(CardRun& run, WriteTest writeTest, const Examination& examination, Diagnosis& diagnosis) {
    if (diagnosis.verdict == Verdict::Unusable) {
        return; // the findings say why nothing can be written
    }
    if (!examination.underWay.empty()) {
        throw CardFailure(ExitStatus::Refused, "the write test",
                          "the module did not come through the examination; nothing was written",
                          "The findings say where it ended.");
    }
    const ExitStatus status = writeTest(run, diagnosis.report);
    run.status = status == ExitStatus::Success ? run.status : status;
}

/// Writes the report into the folder. Returns why that failed, when nothing else did.
std::exception_ptr writeReport(CardRun& run, const ReportFolder& folder, const std::exception_ptr& failure) {
    try {
        folder.write(jsonLine(run.answer), doctorText(run.answer, kReportWidth, ReportDepth::Whole));
        run.text += "The report is in " + *run.arguments().value("--out") + ".\n";
    } catch (const std::exception& error) {
        if (!failure) {
            return std::current_exception();
        }
        run.person().tell(std::string("p11host: ") + error.what());
    }
    return failure;
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
    std::exception_ptr failure; // thrown again when the report is out
    try {
        if (examination.isInterrupted) {
            throw Interrupted();
        }
        if (run.arguments().has("--write-test")) {
            addWriteTest(run, writeTest, examination, diagnosis);
        }
    } catch (const std::exception&) {
        failure = std::current_exception();
    }
    run.answer = diagnosis.report;
    run.text = doctorText(run.answer, std::max(kNarrowest, helpWidth()), ReportDepth::Summary);
    if (folder) {
        failure = writeReport(run, *folder, failure);
    }
    if (failure) {
        run.person().show(run.text); // the answer is a failure's
        std::rethrow_exception(failure);
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
