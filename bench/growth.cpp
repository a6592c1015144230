#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>

#include "bench/Executor.h"
#include "bench/Module.h"
#include "bench/RawCalls.h"
#include "bench/SoftToken.h"
#include "ry/rylog.h"

// How the time of a script grows with what it works on. Prints one line for each point, with tabs between: curve,
// number of objects or slots, microseconds of the processor (the least of several runs). Usage: bench-growth on the
// module that does nothing
//        bench-growth MODULE    on SoftHSM2, with its token in memory; beside the same calls made directly

namespace {

using Step = std::function<void()>;

double microseconds(const Step& step) {
    const std::clock_t begin = std::clock();
    step();
    return static_cast<double>(std::clock() - begin) * 1e6 / CLOCKS_PER_SEC;
}

/// The least of `rounds` runs; short steps are repeated until the clock sees them.
double least(int rounds, const Step& step, const Step& prepare = {}) {
    double best = 1e18;
    for (int i = 0; i < rounds; ++i) {
        if (prepare) {
            prepare();
        }
        int repeats = 0;
        const double time = microseconds([&] {
            const std::clock_t begin = std::clock();
            do {
                step();
                ++repeats;
            } while (!prepare && std::clock() - begin < CLOCKS_PER_SEC / 1000);
        });
        best = std::min(best, time / repeats);
    }
    return best;
}

/// Removing takes the token's own time by the square of their number: minutes for ten thousand.
constexpr CK_ULONG kMostRemoved = 1000;

void print(const char* curve, CK_ULONG count, double time) {
    std::printf("%s\t%lu\t%.1f\n", curve, static_cast<unsigned long>(count), time);
    std::fflush(stdout);
}

void onNoop() {
    const bench::Module module(bench::noopFile());
    const bench::Executor executor(bench::noopFile(), "123456");
    executor.chooseReader("Reader 000");
    host::Operation read = bench::makeOperation("readData", {"OBJ_TYPE=CERTIFICATE"});
    host::Operation remove = bench::makeOperation("removeData", {"OBJ_TYPE=CERTIFICATE"});
    host::Operation list = bench::makeOperation("getReaderList", {});
    NoopControl& noop = *module.noop();
    for (const CK_ULONG count : {10UL, 100UL, 1000UL, 10000UL}) {
        noop.objects = count;
        print("no-op readData", count, least(10, [&] { executor.run(read); }));
        print("no-op removeData", count, least(10, [&] { executor.run(remove); }));
    }
    for (const CK_ULONG count : {1UL, 4UL, 16UL, 64UL, 256UL}) {
        noop.slots = count;
        print("no-op getReaderList", count, least(10, [&] { executor.run(list); }));
    }
}

void onSoftToken(const std::string& moduleFile) {
    bench::SoftToken softToken;
    const bench::Module module(moduleFile);
    const bench::Executor executor(moduleFile, bench::SoftToken::kPin);
    softToken.prepare(module);
    executor.chooseReader(softToken.readerName());
    bench::RawToken token{module.functions(), 0};
    bench::require(token.functions.C_OpenSession(softToken.slot(), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr,
                                                 nullptr, &token.session),
                   "C_OpenSession");
    host::Operation login = bench::makeOperation("authenticate", {"AUTH_TYPE=STATIC", "PINID=USER", "PIN=text:123456"});
    host::Operation read = bench::makeOperation("readData", {"OBJ_TYPE=CERTIFICATE"});
    host::Operation remove = bench::makeOperation("removeData", {"OBJ_TYPE=CERTIFICATE"});
    executor.mustRun(login);
    for (const CK_ULONG count : {10UL, 100UL, 1000UL, 10000UL}) {
        const Step write = [&] {
            bench::rawRemoveCertificates(token);
            for (std::uint32_t i = 0; i < count; ++i) {
                bench::rawWriteCertificate(token, i);
            }
        };
        write();
        print("SoftHSM2 readData", count, least(3, [&] { executor.run(read); }));
        print("SoftHSM2 read raw", count, least(3, [&] { bench::rawReadCertificates(token); }));
        if (count > kMostRemoved) {
            break; // the token goes with its folder
        }
        print("SoftHSM2 removeData", count,
              least(
                  2, [&] { executor.mustRun(remove); }, write));
        print("SoftHSM2 remove raw", count,
              least(
                  2, [&] { bench::rawRemoveCertificates(token); }, write));
    }
}

} // namespace

int main(int argc, char** argv) {
    static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Json));
    if (argc > 1) {
        onSoftToken(argv[1]);
    } else {
        onNoop();
    }
}
