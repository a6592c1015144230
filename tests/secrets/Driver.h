#pragma once

#include "tests/fake/Fake.h"
#include "tests/secrets/Stories.h"
#include "tests/secrets/Watch.h"
#include "zel/ClientOperationExecutor.h"

#include <string>
#include <vector>

namespace Secrets {

/// How the script under test is disturbed.
struct Fault {
    unsigned long call = 0; ///< which of its calls of the module is answered so; 0: none
    CK_RV rv = CKR_OK;
    Fake::When when = Fake::When::Before;
    unsigned long allocation = 0; ///< which of its allocations fails; 0: none
};

/// What came of a story.
struct Outcome {
    unsigned long calls = 0; ///< of the module, by the script under test
    std::string error;       ///< its "ERROR"; "none" without a response
    bool hasFailed = false;  ///< the allocation that was to fail did
};

/// Lets an executor live a story, scanning after every operation, and again when the executor has gone. The module's
/// record is off and the trace is as the caller set it up.
class Driver {
public:
    Driver(Watch& watch, const Book& book) : m_watch(watch), m_book(book) {}

    Outcome live(const Story& story, const Fault& fault = {});

private:
    void prepareToken(const Story& story) const;
    void create();
    void initialize(const Story& story, bool isScanned);
    void execute(const std::string& name, const Step& step, unsigned long failingAllocation, Outcome& outcome,
                 bool isScanned);
    void free();
    [[nodiscard]] std::vector<Range> kept() const;

    Watch& m_watch;
    const Book& m_book;
    Zel::ClientOperationExecutor* m_pExecutor = nullptr;
};

} // namespace Secrets
