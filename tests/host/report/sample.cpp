// Writes the report of a journal that has everything: two stations, a night in between, each state, texts that would
// like to be elements. Usage: report-sample FILE

#include <fstream>
#include <string>

#include "host/view/desk/ReportPage.h"

namespace {

using namespace host::desk;

constexpr Moment kSecond = 1'000'000;
constexpr Moment kStart = Moment{1'795'351'734} * kSecond;
constexpr Moment kNight = 12 * 3600 * kSecond;

constexpr const char* kCertificate = R"(-----BEGIN CERTIFICATE-----
MIIBkzCCATmgAwIBAgIBBzAKBggqhkjOPQQDAjAxMRAwDgYDVQQKDAdFeGFtcGxl
MQ4wDAYDVQQLDAVUcnVzdDENMAsGA1UEAwwEUm9vdDAeFw0yNjExMjIwNTA4MDBa
Fw0zNjExMTkwNTA4MDBaMDExEDAOBgNVBAoMB0V4YW1wbGUxDjAMBgNVBAsMBVRy
dXN0MQ0wCwYDVQQDDARSb290MFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAEeU/i
ZMhlncG+rQNmoTZOBYq2zB6kxrZB5Kg3eb0ldJdquknC0zDEbrkUM11eqGFaeMjd
QAJeeV9Qs4ZtNjBTIqNCMEAwDgYDVR0PAQH/BAQDAgEGMA8GA1UdEwEB/wQFMAMB
Af8wHQYDVR0OBBYEFMVaf0TTaLHteJxOgwv+vCSfwJCZMAoGCCqGSM49BAMCA0gA
MEUCIQCmpXbiF/wW1KyozX0F0KFQ+RnyTMyR77fl6zo41U6wgwIgbPurHSbnPbE5
kd8+gkfrtdPa9ZdPKLGbj77DXw3wqb8=
-----END CERTIFICATE-----
)";

/// Three steps of two seconds; the last of an attempt that is not done has failed.
AttemptRecord attempt(std::int64_t number, std::int64_t row, AttemptState state, const char* station,
                      const char* reader, Moment begun, const char* reason = "") {
    AttemptRecord record{number, row, state,  station, reader, "00A" + std::to_string(number),
                         begun,  {},  reason, "",      {}};
    const bool isDone = state == AttemptState::Done || state == AttemptState::Replaced;
    int step = 0;
    for (const char* const name : {"init-token", "generate-key", "certify"}) {
        const Moment from = begun + step * 2 * kSecond;
        ++step;
        record.steps.push_back({step, name, from, from + step * kSecond / 2, !isDone && step == 3});
    }
    record.ended = begun + 6 * kSecond;
    return record;
}

DeskRecord sample() {
    DeskRecord record;
    record.plan = "employee card <b>2026</b>";
    record.steps = {"init-token", "generate-key", "certify"};
    record.read = kStart + kNight + 60 * kSecond;
    const char* const pin = "check the PIN source, then: p11host issue retry";
    record.rows = {{1, "Ada Lovelace", RowState::Done, "", ""},
                   {2, "J\u00FCrgen <img src=x onerror=alert(1)>", RowState::Done, "", ""},
                   {3, "Grace Hopper", RowState::Failed, "the PIN is wrong", pin},
                   {4, "Edsger", RowState::Failed, "</td><script>alert(1)</script>", "\"onclick=\"alert(1)"},
                   {5, "Barbara", RowState::Waiting, "", ""},
                   {6, "Dropped", RowState::Dropped, "", ""},
                   {7, "Mary", RowState::Done, "", ""},
                   {8, "Lost and issued anew", RowState::Done, "", ""}};
    const char* const long_name = "Example Corp. Contactless Reader 3000 with a very long name (serial 0815) 01 00";
    record.attempts = {
        attempt(1, 1, AttemptState::Done, "desk-1", "Reader A", kStart),
        attempt(2, 2, AttemptState::Done, "desk-1", long_name, kStart + kSecond),
        attempt(3, 3, AttemptState::Failed, "desk-1", "Reader A", kStart + 10 * kSecond, "the PIN is wrong"),
        attempt(4, 7, AttemptState::Interrupted, "desk-2", "Reader A", kStart + 20 * kSecond, "the reader went away"),
        attempt(5, 4, AttemptState::Undone, "desk-2", "Reader A", kStart + 40 * kSecond,
                "</td><script>alert(1)</script>"),
        attempt(6, 7, AttemptState::Done, "desk-2", "Reader A", kStart + kNight),
        attempt(7, 8, AttemptState::Replaced, "desk-1", "Reader A", kStart + 30 * kSecond, "lost"),
        attempt(8, 8, AttemptState::Done, "desk-1", "Reader A", kStart + kNight + 20 * kSecond)};
    record.revocations = {{8, 7, kCertificate, "the card was lost", kStart + kNight},
                          {7, 4, "", "the card was interrupted", kStart + 30 * kSecond},
                          {4, 5, "</pre><script>alert(1)</script>", "rolled back", kStart + 50 * kSecond}};
    return record;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    std::ofstream file(argv[1], std::ios::binary);
    file << host::view::reportPageOf(sample());
    return file.flush() ? 0 : 1;
}
