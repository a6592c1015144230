#pragma once

#include "tests/fake/Fake.h"
#include "tests/secrets/Heap.h"
#include "tests/secrets/Stories.h"
#include "tests/secrets/Watch.h"
#include "zel/ClientOperationExecutor.h"

#include <string>
#include <vector>

namespace Secrets {

/// A moment in the life of an executor.
enum class Moment { Create, Initialize, Execute, Free };

/// How the script under test is disturbed.
struct Fault {
    unsigned long call = 0; ///< which of its calls of the module is answered so; 0: none
    CK_RV rv = CKR_OK;
    Fake::When when = Fake::When::Before;
    unsigned long allocation = 0; ///< which of its allocations fails, or of another moment's; 0: none
    Heap::Shortage shortage = Heap::Shortage::Once;
    Moment moment = Moment::Execute;
};

/// What came of a story.
struct Outcome {
    unsigned long calls = 0; ///< of the module, by the script under test
    bool isCreated = false;  ///< there was an executor
    std::string beginning;   ///< the exception of its initialization
    std::string answer;      ///< its outputs, "ERROR=0 COUNT=1"; or the exception, its class, code and message
    bool hasFailed = false;  ///< the allocation that was to fail did
    Fake::Role before = Fake::Role::Nobody; ///< who was logged in before the script under test
    Fake::Role after = Fake::Role::Nobody;  ///< and after it
    std::size_t objects = 0;                ///< on the token after it
    bool knowsPin = true; ///< the user's PIN, if the token has another one now, is the one that the executor stored
    std::string later; ///< the first of the operations after a failed allocation that did not succeed, and its answer
};

/// Lets an executor live a story, scanning after every operation, and again when the executor has gone. The module's
/// record is off and the trace is as the caller set it up. Where an allocation failed, the executor is asked for the
/// ordinary afterwards.
class Driver {
public:
    Driver(Watch& watch, const Book& book) : m_watch(watch), m_book(book) {}

    Outcome live(const Story& story, const Fault& fault = {});

private:
    void prepareToken(const Story& story) const;
    void create(const Fault& fault, Outcome& outcome);
    void initialize(const Story& story, const Fault& fault, Outcome& outcome, bool isScanned);
    void execute(const std::string& name, const Step& step, const Fault& fault, Outcome& outcome, bool isScanned);
    void executeLater(Outcome& outcome);
    void free(const Fault& fault, Outcome& outcome);
    [[nodiscard]] std::vector<Range> kept() const;
    [[nodiscard]] bool knowsPin() const;

    Watch& m_watch;
    const Book& m_book;
    Zel::ClientOperationExecutor* m_pExecutor = nullptr;
};

} // namespace Secrets
