#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <stdexcept>
#include <string>

#include "bench/Cases.h"
#include "bench/Executor.h"
#include "bench/Module.h"
#include "bench/RawCalls.h"
#include "bench/SoftToken.h"
#include "host/plugin/Texts.h"
#include "ry/rylog.h"

// What an operator waits for: the plug-in beside the same Cryptoki calls made directly, on a software token with its
// files in memory. The two take turns, so that whatever else the machine does hits both.
// Usage: bench-workloads MODULE-FILE [ROUNDS-FACTOR]
//        bench-workloads --check: compares the calls of both sides on the module that does nothing

namespace {

using Step = std::function<void()>;

struct Workload {
    const char* name;
    int rounds;
    Step plugin;
    Step raw;
    Step pluginAfter; ///< not measured: brings the token back to where it was
    Step rawAfter;
};

/// Of the processor: token and caller are one process here, and what other programs take does not count.
double seconds(const Step& step) {
    const std::clock_t begin = std::clock();
    step();
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

double median(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

/// One line: name, rounds, minimum and median of the raw calls in microseconds, ratios of minima and of medians.
void run(const Workload& workload, double factor) {
    const int rounds = std::max(3, static_cast<int>(workload.rounds * factor));
    std::vector<double> plugin;
    std::vector<double> raw;
    for (int i = 0; i <= rounds; ++i) {
        const auto runPlugin = [&] {
            plugin.push_back(seconds(workload.plugin));
            workload.pluginAfter();
        };
        const auto runRaw = [&] {
            raw.push_back(seconds(workload.raw));
            workload.rawAfter();
        };
        // Who goes first changes, and the first round of all only warms up.
        i % 2 == 0 ? (runPlugin(), runRaw()) : (runRaw(), runPlugin());
        if (i == 0) {
            plugin.clear();
            raw.clear();
        }
    }
    const double least = *std::min_element(raw.begin(), raw.end());
    const double middle = median(raw);
    std::printf("%s\t%d\t%.1f\t%.1f\t%.3f\t%.3f\n", workload.name, rounds, least * 1e6, middle * 1e6,
                *std::min_element(plugin.begin(), plugin.end()) / least, median(plugin) / middle);
    std::fflush(stdout);
}

constexpr std::uint32_t kRead = 500;
constexpr std::uint32_t kWritten = 200;

std::vector<host::Operation> makeWrites(std::uint32_t count) {
    std::vector<host::Operation> operations;
    for (std::uint32_t i = 0; i < count; ++i) {
        char id[16];
        std::snprintf(id, sizeof id, "ID=hex:%04X", i);
        operations.push_back(
            bench::makeOperation("writeData", {"OBJ_TYPE=CERTIFICATE", "CERT_TYPE=X_509", bench::certificateArgument(),
                                               "SUBJECT=hex:300D310B3009060355040613024445", id}));
    }
    return operations;
}

/// Everything that the workloads need, and the two sides of each.
class Bench {
public:
    Bench(const bench::Executor& executor, const bench::RawToken& token) : m_executor(executor), m_token(token) {}

    void authenticate() { m_executor.mustRun(m_authenticate); }
    void pluginSign() { m_executor.run(m_sign); }
    void checkedSign() { m_executor.mustRun(m_sign); }
    void pluginSession() {
        m_executor.run(m_authenticate);
        m_executor.run(m_sign);
        m_executor.run(m_deauthenticate);
    }
    void rawSession() { bench::rawAuthenticateSignDeauthenticate(m_token, bench::SoftToken::kPin); }
    void pluginRead() { m_executor.run(m_read); }
    void pluginWrite() {
        for (host::Operation& operation : m_writes) {
            m_executor.run(operation);
        }
    }
    void rawWrite(std::uint32_t count = kWritten) {
        for (std::uint32_t i = 0; i < count; ++i) {
            bench::rawWriteCertificate(m_token, i);
        }
    }
    void pluginRemove() { m_executor.run(m_remove); }
    void rawRemove() { bench::rawRemoveCertificates(m_token); }
    void pluginGenerate() { m_executor.run(m_generate); }
    void removeGenerated() { m_executor.mustRun(m_removeGenerated); }
    [[nodiscard]] const bench::RawToken& token() const { return m_token; }

    /// Throws when either side does not do what it is measured for.
    void verify() {
        checkedSign();
        pluginWrite();
        if (bench::rawReadCertificates(m_token) != kWritten || bench::rawRemoveCertificates(m_token) != kWritten) {
            throw std::runtime_error("certificates written and read differ");
        }
    }

private:
    const bench::Executor& m_executor;
    bench::RawToken m_token;
    host::Operation m_authenticate =
        bench::makeOperation("authenticate", {"AUTH_TYPE=STATIC", "PINID=USER", "PIN=text:123456"});
    host::Operation m_deauthenticate = bench::makeOperation("deauthenticate", {"PINID=USER"});
    host::Operation m_sign =
        bench::makeOperation("signData", {"ALGOID=1.2.840.113549.1.1.1", "KEYID=hex:4501", bench::signArgument()});
    host::Operation m_read = bench::makeOperation("readData", {"OBJ_TYPE=CERTIFICATE"});
    std::vector<host::Operation> m_writes = makeWrites(kWritten);
    host::Operation m_remove = bench::makeOperation("removeData", {"OBJ_TYPE=CERTIFICATE"});
    host::Operation m_generate = bench::makeOperation(
        "generateKeyPair", {"ALGOID=1.2.840.113549.1.1.1", "KEYSIZE=1024", "PUBLICEXPONENT=AQAB", "ID=hex:4701"});
    host::Operation m_removeGenerated = bench::makeOperation("removeData", {"OBJ_TYPE=KEY_PAIR", "ID=hex:4701"});
};

void nothing() {}

/// Logs in and out by itself, so nobody is logged in before and after it.
Workload makeSession(Bench& bench) {
    return {"W2 authenticate, sign, deauthenticate",
            200,
            [&] { bench.pluginSession(); },
            [&] { bench.rawSession(); },
            nothing,
            nothing};
}

Workload makeSign(Bench& bench) {
    return {"W1 sign with an open login",           400,     [&] { bench.pluginSign(); },
            [&] { bench::rawSign(bench.token()); }, nothing, nothing};
}

Workload makeRead(Bench& bench) {
    return {"W3 read 500 certificates",
            40,
            [&] { bench.pluginRead(); },
            [&] { bench::rawReadCertificates(bench.token()); },
            nothing,
            nothing};
}

Workload makeWrite(Bench& bench) {
    const Step remove = [&] { bench.rawRemove(); };
    return {"W4 write 200 certificates", 15, [&] { bench.pluginWrite(); }, [&] { bench.rawWrite(); }, remove, remove};
}

Workload makeGenerate(Bench& bench) {
    const Step remove = [&] { bench.removeGenerated(); };
    return {"W5 generate a key pair (1024 bits)",
            300,
            [&] { bench.pluginGenerate(); },
            [&] { bench::rawGenerateKeyPair(bench.token()); },
            remove,
            remove};
}

Workload makeRemove(Bench& bench) {
    const Step write = [&] { bench.rawWrite(); };
    return {"W7 remove 200 certificates", 15, [&] { bench.pluginRemove(); }, [&] { bench.rawRemove(); }, write, write};
}

void runAll(const std::string& moduleFile, double factor) {
    bench::SoftToken softToken;
    const bench::Module module(moduleFile);
    const bench::Executor executor(moduleFile, bench::SoftToken::kPin);
    softToken.prepare(module);
    executor.chooseReader(softToken.readerName());
    bench::RawToken token{module.functions(), 0};
    bench::require(token.functions.C_OpenSession(softToken.slot(), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr,
                                                 nullptr, &token.session),
                   "C_OpenSession");
    Bench bench(executor, token);
    bench.authenticate();
    bench.verify();
    run(makeSign(bench), factor);
    bench.rawWrite(kRead);
    run(makeRead(bench), factor);
    bench.rawRemove();
    run(makeWrite(bench), factor);
    run(makeGenerate(bench), factor);
    bench.rawWrite();
    run(makeRemove(bench), factor);
    bench.rawRemove();
    bench::require(token.functions.C_Logout(token.session), "C_Logout");
    run(makeSession(bench), factor);
}

std::vector<std::string> callsOf(NoopControl& noop, const Step& step) {
    const std::uint64_t before = noop.calls;
    step();
    std::vector<std::string> names;
    for (std::uint64_t i = before; i < noop.calls; ++i) {
        names.emplace_back(noop.names[i % NoopControl::kRecorded]);
    }
    return names;
}

int checkCalls() {
    const bench::Module module(bench::noopFile());
    const bench::Executor executor(bench::noopFile(), bench::SoftToken::kPin);
    executor.chooseReader("Reader 000");
    Bench bench(executor, {module.functions(), 1});
    bench.checkedSign();
    NoopControl& noop = *module.noop();
    int differences = 0;
    for (const Workload& workload : {makeSession(bench), makeSign(bench), makeRead(bench), makeWrite(bench),
                                     makeGenerate(bench), makeRemove(bench)}) {
        const auto plugin = callsOf(noop, workload.plugin);
        const bool isSame = plugin == callsOf(noop, workload.raw);
        std::printf("%s: %zu calls, %s\n", workload.name, plugin.size(), isSame ? "the same" : "DIFFERENT");
        differences += isSame ? 0 : 1;
    }
    return differences;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("Usage: bench-workloads MODULE-FILE [ROUNDS-FACTOR] | --check\n", stderr);
        return 2;
    }
    static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Json));
    if (std::string(argv[1]) == "--check") {
        return checkCalls();
    }
    runAll(argv[1], argc > 2 ? std::strtod(argv[2], nullptr) : 1);
}
