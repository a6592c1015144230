// A host that cancels its thread while the module is at work: the thread ends, and the executor is of use to others.

#include "tests/faults/Hostile.h"

#include <pthread.h>

#include <atomic>
#include <thread>

namespace Faults {

namespace {

using Fake::Function;

class HostileCancel : public HostileTest {
protected:
    /// Runs the operation on a thread of its own, which is cancelled as soon as the module waits in it. Returns true
    /// when the thread ended by that.
    bool isCancelledIn(const std::function<void()>& operation) {
        void* result = nullptr;
        pthread_t thread{};
        m_isWaiting = false;
        EXPECT_EQ(pthread_create(
                      &thread, nullptr,
                      [](void* context) -> void* {
                          (*static_cast<const std::function<void()>*>(context))();
                          return nullptr;
                      },
                      const_cast<std::function<void()>*>(&operation)),
                  0);
        while (!m_isWaiting) {
            std::this_thread::yield();
        }
        pthread_cancel(thread);
        pthread_join(thread, &result);
        return result == PTHREAD_CANCELED;
    }

    CK_RV waitForEver() {
        m_isWaiting = true;
        for (;;) {
            pthread_testcancel();
            std::this_thread::yield();
        }
    }

    std::atomic<bool> m_isWaiting = false;
};

TEST_F(HostileCancel, aScriptEndsItsLoginOnTheWay) {
    const Story story = storyNamed("SignNoSession");
    setStage(story);
    fake.hook<Function::C_SignInit>(
        [this](CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE) { return waitForEver(); });

    EXPECT_TRUE(isCancelledIn([&] { static_cast<void>(execute(story.script, story.params)); }));

    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
    using Conformance::leave;
    expectTraceAt(16, leave("openSession") + leave("getAuthicatedUser") + leave("loginAsUser"));
    expectUsable();
}

TEST_F(HostileCancel, anExecutorThatIsBeingMadeIsNotThere) {
    fake.hook<Function::C_Initialize>([this](void*) { return waitForEver(); });
    // Its user stays counted under the name: one of its own.
    std::string name = Fake::moduleFile();
    name.insert(name.rfind('/'), "/.");
    bool isMade = false;
    EXPECT_TRUE(isCancelledIn([&] {
        const Conformance::Executor executor(Params().plain("DLLNAME", name));
        isMade = true;
    }));
    EXPECT_FALSE(isMade);
    fake.unhook(Function::C_Initialize);
}

} // namespace

} // namespace Faults
