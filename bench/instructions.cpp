#include <cstdio>
#include <string>

#include <valgrind/callgrind.h>

#include "bench/Cases.h"
#include "bench/Executor.h"
#include "bench/Module.h"
#include "ry/rylog.h"

// Runs each script on the module that does nothing, under callgrind, which is told to write its counts for exactly the
// runs that count: one part file for each script, named in its "desc: Trigger" line as script/silent or script/file.
// Usage: valgrind --tool=callgrind --instr-atstart=no bench-instructions TRACE-FILE RUNS [SCRIPT]

namespace {

void measure(const bench::Executor& executor, const bench::Module& module, const bench::Case& script,
             const std::string& name, int runs) {
    module.noop()->state = script.state;
    host::Operation operation = bench::makeOperation(script.script, script.arguments);
    executor.mustRun(operation);
    executor.run(operation);
    CALLGRIND_START_INSTRUMENTATION;
    executor.run(operation);
    CALLGRIND_ZERO_STATS;
    for (int i = 0; i < runs; ++i) {
        executor.run(operation);
    }
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    CALLGRIND_STOP_INSTRUMENTATION;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("Usage: bench-instructions TRACE-FILE RUNS [SCRIPT]\n", stderr);
        return 2;
    }
    const std::string only = argc > 3 ? argv[3] : "";
    static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Json));
    const bench::Module module(bench::noopFile());
    const bench::Executor executor(bench::noopFile(), "123456");
    executor.chooseReader("Reader 000");
    for (const bench::Case& script : bench::cases()) {
        if (!only.empty() && only != script.script) {
            continue;
        }
        const std::string name = script.script;
        measure(executor, module, script, name + "/silent", std::stoi(argv[2]));
        static_cast<void>(rylogSetUp(argv[1], 31, RylogFormat::Json));
        measure(executor, module, script, name + "/file", std::stoi(argv[2]));
        static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Json));
    }
}
