#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "bench/Allocations.h"
#include "bench/Cases.h"
#include "bench/Executor.h"
#include "bench/Module.h"
#include "bench/RawCalls.h"
#include "ry/rylog.h"

// What `execute` costs on a module that costs nothing: time, memory and calls of each script, with the trace silent and
// with the trace to a file in memory. Takes Google Benchmark's options.

namespace {

const char* g_traceFile = nullptr;

void countLine(void* context, const RylogRecord* /*record*/) {
    ++*static_cast<std::uint64_t*>(context);
}

std::uint64_t traceLines(const bench::Executor& executor, host::Operation& operation) {
    std::uint64_t lines = 0;
    rylogSetReceiver(countLine, &lines, 31);
    executor.run(operation);
    rylogSetReceiver(nullptr, nullptr, 0);
    return lines;
}

void runScript(benchmark::State& state, const bench::Executor& executor, const bench::Module& module,
               const bench::Case& script, bool isTraced) {
    NoopControl& noop = *module.noop();
    noop.state = script.state;
    host::Operation operation = bench::makeOperation(script.script, script.arguments);
    executor.mustRun(operation);
    const auto lines = static_cast<double>(traceLines(executor, operation));
    if (isTraced) {
        std::filesystem::remove(g_traceFile);
        if (!rylogSetUp(g_traceFile, 31, RylogFormat::Json)) {
            state.SkipWithError("no trace file");
            return;
        }
    }
    const std::uint64_t allocationsBefore = bench::allocations();
    executor.run(operation);
    const std::uint64_t allocations = bench::allocations() - allocationsBefore;
    const std::uint64_t callsBefore = noop.calls;
    executor.run(operation);
    const std::uint64_t calls = noop.calls - callsBefore;
    for (auto _ : state) {
        executor.run(operation);
    }
    static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Json));
    state.counters["allocations"] = static_cast<double>(allocations);
    state.counters["calls"] = static_cast<double>(calls);
    state.counters["lines"] = lines;
}

void runRawSign(benchmark::State& state, const bench::Module& module) {
    const bench::RawToken token{module.functions(), 1};
    for (auto _ : state) {
        bench::rawSign(token);
    }
}

/// What the system takes for a line of a trace, whoever writes it.
void runRawWrite(benchmark::State& state) {
    const std::string line = std::string(157, 'x') + '\n';
    const int file = ::open(g_traceFile, O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    for (auto _ : state) {
        if (::write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            state.SkipWithError("no trace file");
            break;
        }
    }
    ::close(file);
}

} // namespace

int main(int argc, char** argv) {
    const std::string traceFile = "/dev/shm/bench-trace-" + std::to_string(getpid());
    g_traceFile = traceFile.c_str();
    static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Json));
    const bench::Module module(bench::noopFile());
    const bench::Executor executor(bench::noopFile(), "123456");
    executor.chooseReader("Reader 000");
    benchmark::RegisterBenchmark("raw/signData", [&module](benchmark::State& state) { runRawSign(state, module); });
    benchmark::RegisterBenchmark("raw/write", runRawWrite);
    for (const bench::Case& script : bench::cases()) {
        for (const bool isTraced : {false, true}) {
            const std::string name = (isTraced ? "file/" : "silent/") + std::string(script.script);
            benchmark::RegisterBenchmark(name.c_str(), [&, isTraced](benchmark::State& state) {
                runScript(state, executor, module, script, isTraced);
            });
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove(traceFile);
}
