// Memory that runs out: every allocation of every story fails in its turn, alone or with all that follow.
#include "plugin/Exports.h"
#include "ry/rylog.h"
#include "tests/fake/Fake.h"
#include "tests/secrets/Driver.h"
#include "tests/secrets/Heap.h"
#include "tests/secrets/Tracing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <tuple>

using namespace Secrets;

namespace {

constexpr const char* kException = "ClientOperationException 80f6 Out of memory";

/// Where a shortage has a meaning of its own.
struct Special {
    const char* story;
    const char* answer;
    unsigned long seen = 0;
};

Special g_specials[] = {
    // A list of slots that finds no room is an empty one.
    {"getReaderList", "ERROR=0 READERS="},
    // The key parser says of a key only that it has none.
    {"import a private key", "ERROR=80ec"},
    {"import a key pair", "ERROR=80ec"},
    {"import a key pair when logged in", "ERROR=80ec"},
    // A signature behind a login of the script's own: only the logout counts.
    {"sign", "ERROR=0"},
    {"sign what initialize gave", "ERROR=0"},
};

bool isSpecial(const Story& story, const std::string& answer) {
    for (Special& special : g_specials) {
        if (story.name == special.story && answer == special.answer) {
            ++special.seen;
            return true;
        }
    }
    return false;
}

/// Whether the script's own login stays after whatever failure.
bool keepsLogin(const Story& story) {
    const std::wstring& script = story.last.script;
    return script == L"generateKeyPair" || script == L"initAuthenticator" || script == L"unlockAuthenticator";
}

/// A refusal for want of memory, alone or with the count that readers of objects give; an exception; or the answer of
/// every day, and then what it says is done.
bool isRight(const Story& story, const Outcome& good, const Outcome& outcome) {
    if (outcome.answer == good.answer) {
        return outcome.after == good.after && outcome.objects == good.objects;
    }
    return outcome.answer == kException || outcome.answer == "ERROR=80f6" || outcome.answer == "ERROR=80f6 COUNT=0" ||
           isSpecial(story, outcome.answer);
}

void expectRight(const Story& story, const Fault& fault, const Outcome& good, const Outcome& outcome) {
    const std::string where = story.name + ", allocation " + std::to_string(fault.allocation) +
                              (fault.shortage == Heap::Shortage::Once ? "" : " and all later ones");
    EXPECT_TRUE(isRight(story, good, outcome)) << where << ": " << outcome.answer;
    EXPECT_EQ(outcome.later, "") << where;
    EXPECT_TRUE(outcome.knowsPin) << where << ": the token's new PIN is not the stored one";
    // A script that logs in for its own work leaves nobody logged in, but for those of which that is said.
    EXPECT_TRUE(outcome.after == outcome.before || outcome.after == good.after || outcome.after == Fake::Role::Nobody ||
                keepsLogin(story))
        << where << ": role " << static_cast<unsigned>(outcome.after) << " stays logged in";
}

/// Fails one allocation further in every run, until a run asks for fewer. Returns the number of runs.
unsigned long sweep(Driver& driver, const Story& story, Heap::Shortage shortage) {
    const Outcome good = driver.live(story);
    // What is made once and kept, for the first exception of all for example, is there before blocks are counted.
    (void)driver.live(story, {.allocation = 1, .shortage = shortage});
    Fake::module().reset();
    const unsigned long before = Heap::liveBlocks();
    Fault fault{.shortage = shortage};
    for (bool hasFailed = true; hasFailed;) {
        ++fault.allocation;
        const Outcome outcome = driver.live(story, fault);
        hasFailed = outcome.hasFailed;
        Fake::module().reset();
        const unsigned long after = Heap::liveBlocks();
        const Heap::Unwatched unwatched;
        expectRight(story, fault, good, outcome);
        EXPECT_EQ(after, before) << story.name << ", allocation " << fault.allocation;
    }
    return fault.allocation;
}

void expectRightAround(const Story& story, const Fault& fault, const Outcome& good, const Outcome& outcome) {
    const std::string where = story.name + ", allocation " + std::to_string(fault.allocation);
    const bool mayFail = outcome.hasFailed;
    if (!outcome.isCreated) {
        EXPECT_TRUE(mayFail && fault.moment == Moment::Create) << where;
        return;
    }
    if (!outcome.beginning.empty()) {
        EXPECT_TRUE(mayFail && fault.moment == Moment::Initialize) << where;
        EXPECT_EQ(outcome.beginning, kException) << where;
    }
    EXPECT_EQ(outcome.answer, good.answer) << where;
    EXPECT_EQ(outcome.later, "") << where;
}

unsigned long sweepAround(Driver& driver, const Story& story, Fault fault) {
    const Outcome good = driver.live(story);
    fault.allocation = 1;
    (void)driver.live(story, fault);
    Fake::module().reset();
    const unsigned long before = Heap::liveBlocks();
    fault.allocation = 0;
    for (bool hasFailed = true; hasFailed;) {
        ++fault.allocation;
        const Outcome outcome = driver.live(story, fault);
        hasFailed = outcome.hasFailed;
        Fake::module().reset();
        const unsigned long after = Heap::liveBlocks();
        const Heap::Unwatched unwatched;
        expectRightAround(story, fault, good, outcome);
        EXPECT_EQ(after, before) << story.name << ", allocation " << fault.allocation;
    }
    return fault.allocation;
}

class Shortage : public ::testing::TestWithParam<std::tuple<Pins, Listener>> {};

TEST_P(Shortage, EndsInAClearCodeAndLeavesNothing) {
    const auto [pins, listener] = GetParam();
    const Book& secrets = book(pins);
    const Needles needles(secrets.secrets);
    Watch watch(needles);
    const Tracing tracing(watch, listener);
    Driver driver(watch, secrets);
    unsigned long runs = 0;
    for (const Story& story : secrets.stories) {
        for (const Heap::Shortage shortage : {Heap::Shortage::Once, Heap::Shortage::Lasting}) {
            runs += sweep(driver, story, shortage);
        }
    }
    for (const std::string& finding : watch.takeFindings()) {
        ADD_FAILURE() << finding;
    }
    std::cout << "  " << runs << " runs, " << watch.scans() << " scans\n";
    EXPECT_GE(runs, 1000U);
}

INSTANTIATE_TEST_SUITE_P(Everybody, Shortage,
                         ::testing::Combine(::testing::Values(Pins::Short, Pins::Long),
                                            ::testing::Values(Listener::Nobody, Listener::Receiver)),
                         [](const auto& one) {
                             return std::string(std::get<0>(one.param) == Pins::Short ? "ShortPins" : "LongPins") +
                                    (std::get<1>(one.param) == Listener::Nobody ? "Untraced" : "Traced");
                         });

class ShortageAround : public ::testing::TestWithParam<Moment> {};

/// An executor that finds no memory at its beginning or its end: there is none, or its initialization fails and can be
/// repeated, or it works; it always goes.
TEST_P(ShortageAround, EndsInAClearCodeAndLeavesNothing) {
    const Book& secrets = book(Pins::Long);
    const Needles needles(secrets.secrets);
    Watch watch(needles);
    Driver driver(watch, secrets);
    // It is initialised with a value of every kind.
    const auto story = std::find_if(secrets.stories.begin(), secrets.stories.end(),
                                    [](const Story& one) { return one.name == "sign what initialize gave"; });
    ASSERT_NE(story, secrets.stories.end());
    unsigned long runs = 0;
    for (const Heap::Shortage shortage : {Heap::Shortage::Once, Heap::Shortage::Lasting}) {
        runs += sweepAround(driver, *story, {.shortage = shortage, .moment = GetParam()});
    }
    for (const std::string& finding : watch.takeFindings()) {
        ADD_FAILURE() << finding;
    }
    std::cout << "  " << runs << " runs, " << watch.scans() << " scans\n";
}

INSTANTIATE_TEST_SUITE_P(Everywhere, ShortageAround,
                         ::testing::Values(Moment::Create, Moment::Initialize, Moment::Free), [](const auto& one) {
                             return one.param == Moment::Create       ? "Creation"
                                    : one.param == Moment::Initialize ? "Initialization"
                                                                      : "End";
                         });

/// What newInstance tells, with one allocation after the other failing.
class Creations {
public:
    Creations() { rylogSetReceiver(listen, this, 4 | 16); }
    Creations(const Creations&) = delete;
    Creations& operator=(const Creations&) = delete;
    ~Creations() { rylogSetReceiver(nullptr, nullptr, 0); }

    /// Whether an executor came of it; `hasFailed` says whether an allocation did.
    bool make(unsigned long failing, bool& hasFailed) {
        m_told.clear();
        Zel::Vector<Zel::Parameter> params;
        const std::string file = Fake::moduleFile();
        const std::wstring wide(file.begin(), file.end());
        params.add(Zel::Parameter(Zel::ParameterEncoding::Plain, L"DLLNAME", Zel::ParameterType::Text, wide.c_str()));
        Heap::failAllocation(failing);
        Zel::ClientOperationExecutor* const executor = newInstance(&params);
        hasFailed = Heap::failAllocation(0);
        const std::string told = m_told;
        if (executor != nullptr) {
            freeInstance(executor);
        }
        m_told = told;
        return executor != nullptr;
    }

    [[nodiscard]] bool tells(const char* text) const { return m_told.find(text) != std::string::npos; }

private:
    static void listen(void* context, const RylogRecord* record) {
        const Heap::Unwatched unwatched;
        static_cast<Creations*>(context)->m_told += std::string(record->text) + '\n';
    }

    std::string m_told;
};

/// Once an executor counts, the trace says what became of it: one that finds no memory is "NULL", and still counts.
TEST(ShortageOfMemory, IsToldOfAnExecutorThatFindsNone) {
    Creations creations;
    bool hasFailed = false;
    ASSERT_TRUE(creations.make(0, hasFailed)); // what is made once is there before blocks are counted
    unsigned long nulls = 0;
    hasFailed = true;
    for (unsigned long failing = 1; hasFailed; ++failing) {
        const bool isMade = creations.make(failing, hasFailed);
        const bool isNull =
            creations.tells("zel-coe-pkcs11::newInstance<-- Output Param NULL\nzel-coe-pkcs11::newInstance\n");
        EXPECT_EQ(creations.tells("<-- Output Param ClientOperationExecutor\n"), isMade) << failing;
        EXPECT_EQ(isNull, !isMade && creations.tells("InstancesCount = ")) << failing;
        nulls += isNull ? 1 : 0;
    }
    // The object itself, and what it is made of.
    EXPECT_GE(nulls, 2U);
}

/// The list of scripts that finds no memory is null, at whichever allocation, and nothing of it stays.
TEST(ShortageOfMemory, IsNoListOfScripts) {
    const std::string file = Fake::moduleFile();
    Zel::Vector<Zel::Parameter> params;
    params.add(Zel::Parameter(Zel::ParameterEncoding::Plain, L"DLLNAME", Zel::ParameterType::Text,
                              std::wstring(file.begin(), file.end()).c_str()));
    Zel::ClientOperationExecutor* const executor = newInstance(&params);
    ASSERT_NE(executor, nullptr);
    const unsigned long before = Heap::liveBlocks();
    unsigned long refused = 0;
    for (bool hasFailed = true; hasFailed;) {
        Heap::failAllocation(refused + 1);
        Zel::Vector<Zel::TString>* const scripts = executor->getSupportedScripts();
        hasFailed = Heap::failAllocation(0);
        EXPECT_EQ(scripts == nullptr, hasFailed) << refused;
        if (scripts != nullptr) {
            EXPECT_EQ(scripts->size(), 18U);
            scripts->destroy();
        }
        EXPECT_EQ(Heap::liveBlocks(), before);
        refused += hasFailed ? 1 : 0;
    }
    EXPECT_GE(refused, 18U);
    freeInstance(executor);
}

/// What is let pass above does happen.
TEST(ShortageOfMemory, HasItsSpecialAnswers) {
    const Book& secrets = book(Pins::Short);
    const Needles needles(secrets.secrets);
    Watch watch(needles);
    Driver driver(watch, secrets);
    for (Special& special : g_specials) {
        special.seen = 0;
        for (const Story& story : secrets.stories) {
            if (story.name == special.story) {
                (void)sweep(driver, story, Heap::Shortage::Once);
            }
        }
        EXPECT_GE(special.seen, 1U) << special.story;
    }
}

} // namespace
