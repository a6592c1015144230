// What p11watch adds to a call: the same calls of the module that does nothing, made directly and through p11watch, and
// the one write of the line by itself. Usage: bench-watch FOLDER
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>

#include "bench/Module.h"
#include "platform/AppendedFile.h"
#include "platform/Process.h"

namespace {

using Call = std::function<void(CK_FUNCTION_LIST&)>;

constexpr int kRounds = 25;
constexpr int kCalls = 2000;

struct Case {
    const char* name;
    Call call;
};

/// Nanoseconds of processor time for one call: the least of all rounds.
double timeOf(const std::function<void()>& call) {
    double least = 1e9;
    for (int round = 0; round < kRounds; ++round) {
        const std::clock_t start = std::clock();
        for (int i = 0; i < kCalls; ++i) {
            call();
        }
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        least = std::min(least, seconds * 1e9 / kCalls);
    }
    return least;
}

std::string lastLine(const std::string& file) {
    std::ifstream lines(file);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        last = line + "\n";
    }
    return last;
}

void login(CK_FUNCTION_LIST& functions) {
    CK_UTF8CHAR pin[] = "123456";
    bench::require(functions.C_Login(1, CKU_USER, pin, 6), "C_Login");
}

void search(CK_FUNCTION_LIST& functions) {
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_BBOOL yes = CK_TRUE;
    char label[] = "Signature";
    CK_BYTE id[] = {1, 2, 3, 4};
    CK_ATTRIBUTE attributes[] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                                 {CKA_TOKEN, &yes, sizeof yes},
                                 {CKA_LABEL, label, 9},
                                 {CKA_ID, id, sizeof id}};
    bench::require(functions.C_FindObjectsInit(1, attributes, 4), "C_FindObjectsInit");
}

void find(CK_FUNCTION_LIST& functions) {
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    bench::require(functions.C_FindObjects(1, &object, 1, &count), "C_FindObjects");
}

void readCertificate(CK_FUNCTION_LIST& functions) {
    CK_BYTE value[2048];
    CK_ATTRIBUTE attribute{CKA_VALUE, value, sizeof value};
    bench::require(functions.C_GetAttributeValue(1, 1, &attribute, 1), "C_GetAttributeValue");
}

void sign(CK_FUNCTION_LIST& functions) {
    CK_BYTE data[51] = {};
    CK_BYTE signature[512];
    CK_ULONG length = sizeof signature;
    bench::require(functions.C_Sign(1, data, sizeof data, signature, &length), "C_Sign");
}

const Case kCases[] = {
    {"C_CloseSession",
     [](CK_FUNCTION_LIST& functions) { bench::require(functions.C_CloseSession(2), "C_CloseSession"); }},
    {"C_Login", login},
    {"C_FindObjectsInit, four attributes", search},
    {"C_FindObjects", find},
    {"C_GetAttributeValue, certificate of 1 KB", readCertificate},
    {"C_Sign, 256 bytes", sign},
};

void measure(const Case& measured, CK_FUNCTION_LIST& direct, CK_FUNCTION_LIST& watched, const std::string& folder) {
    // A search through both lists: the certificate that it finds may be shown.
    for (CK_FUNCTION_LIST* const functions : {&direct, &watched}) {
        search(*functions);
        find(*functions);
    }
    const double raw = timeOf([&] { measured.call(direct); });
    const double with = timeOf([&] { measured.call(watched); });
    const std::string line = lastLine(folder + "/record.jsonl");
    platform::AppendedFile file;
    if (!file.open((folder + "/written").c_str())) {
        throw std::runtime_error("cannot write into " + folder);
    }
    const double write = timeOf([&] { (void)file.append(line.data(), line.size()); });
    file.close();
    std::printf("| %s | %zu | %.2f µs | %.2f µs | %.2f µs | %.2f µs |\n", measured.name, line.size(), raw / 1000,
                with / 1000, write / 1000, (with - raw - write) / 1000);
}

} // namespace

int main(int count, char** arguments) {
    const std::string folder = count > 1 ? arguments[1] : ".";
    platform::setEnvironmentVariable("P11WATCH_MODULE", bench::noopFile());
    platform::setEnvironmentVariable("P11WATCH_FILE", folder + "/record.jsonl");
    const bench::Module direct(bench::noopFile());
    const bench::Module watched(BENCH_WATCH_FILE);
    std::puts(
        "| call | bytes of the line | the module alone | with p11watch | one write of the line | p11watch itself |\n"
        "|---|---:|---:|---:|---:|---:|");
    for (const Case& measured : kCases) {
        measure(measured, direct.functions(), watched.functions(), folder);
    }
}
