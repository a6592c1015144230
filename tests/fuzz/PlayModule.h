#pragma once

#include "tests/fake/Fake.h"
#include "tests/fuzz/Input.h"

namespace Fuzz {

/// The scripted module under a fuzzer: its state and its answers are the fuzzer's choice. Every fault ends after a few
/// calls, and a logout is not refused for ever: scripts log out until the token agrees, by design.
class PlayModule {
public:
    PlayModule();
    PlayModule(const PlayModule&) = delete;
    PlayModule& operator=(const PlayModule&) = delete;
    ~PlayModule();

    /// Objects, PINs and flags of the token, readers; all of it what an honest token could be.
    void setUp(Input& input);
    /// A card or reader comes or goes, or the module's sessions are closed.
    void disturb(Input& input);
    /// One fault: results that are not what was done, or output arguments without sense.
    void addFault(Input& input);

    /// Honest again, with its state after `reset`, but initialised: executors are alive that think so.
    void makeHonest();

    /// Whether any fault was set up since the beginning.
    [[nodiscard]] bool isFaulty() const { return m_isFaulty; }
    [[nodiscard]] Fake::Module& fake() { return m_fake; }

private:
    void addAnswer(Input& input);
    void addTokenFault(Input& input);
    void addObjectFault(Input& input);
    void addSessionFault(Input& input);
    void limitLogout();

    Fake::Module m_fake = Fake::module();
    bool m_isFaulty = false;
    int m_logoutsRefused = 0;
};

} // namespace Fuzz
