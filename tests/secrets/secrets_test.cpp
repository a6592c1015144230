#include "tests/secrets/Driver.h"
#include "tests/secrets/Heap.h"
#include "tests/secrets/Tracing.h"

#include <gtest/gtest.h>

#include <iostream>

using namespace Secrets;

namespace {

constexpr CK_RV kResults[] = {CKR_GENERAL_ERROR,          CKR_HOST_MEMORY,
                              CKR_PIN_INCORRECT,          CKR_SESSION_HANDLE_INVALID,
                              CKR_USER_ALREADY_LOGGED_IN, CKR_FUNCTION_NOT_SUPPORTED};

const char* nameOf(Listener listener) {
    return listener == Listener::Nobody ? "nobody listens" : listener == Listener::Receiver ? "a receiver" : "a file";
}

/// A story's good run, and all its runs with one call failing; another result and another moment from call to call and
/// from listener to listener, so that each meets each.
void tellAllOf(Driver& driver, const Story& story, bool thorough) {
    const Outcome good = driver.live(story);
    for (unsigned long call = 1; call <= good.calls; ++call) {
        for (std::size_t i = 0; i < std::size(kResults); ++i) {
            for (const Fake::When when : {Fake::When::Before, Fake::When::After}) {
                if (thorough || (call + i + static_cast<unsigned>(when)) % 3 == 0) {
                    (void)driver.live(story, {call, kResults[i], when, 0});
                }
            }
        }
    }
}

void expectNoFindings(Watch& watch) {
    for (const std::string& finding : watch.takeFindings()) {
        ADD_FAILURE() << finding;
    }
}

} // namespace

TEST(Secrets, NothingIsLeft) {
    unsigned long scans = 0;
    for (const Pins pins : {Pins::Short, Pins::Long}) {
        const Book& secrets = book(pins);
        const Needles needles(secrets.secrets);
        for (const Listener listener : {Listener::Nobody, Listener::Receiver, Listener::JsonFile}) {
            Watch watch(needles);
            {
                const Tracing tracing(watch, listener);
                Driver driver(watch, secrets);
                for (const Story& story : secrets.stories) {
                    tellAllOf(driver, story, listener == Listener::Receiver);
                }
            }
            expectNoFindings(watch);
            scans += watch.scans();
            std::cout << "  " << nameOf(listener) << ": " << watch.scans() << " scans, " << watch.bytes() / 1000000
                      << " MB searched for " << needles.count() << " pieces of secrets\n";
        }
    }
    std::cout << "  " << scans << " scans, " << Heap::freedBlocks() << " blocks given back, " << Tracing::searched()
              << " bytes of trace\n";
    EXPECT_GE(scans, 5000U);
    EXPECT_GE(Tracing::searched(), 1000000U);
}
