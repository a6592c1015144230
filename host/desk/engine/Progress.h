#pragma once

#include <cstdint>
#include <string>

namespace host::desk {

/// Something that happened at the desk. Texts may hold anything; who shows them makes them fit.
struct Event {
    enum class Kind {
        Begun,       ///< a card for a person
        Resumed,     ///< an interrupted card goes on
        Step,        ///< a step of it begins
        Done,        ///< the card is issued
        Failed,      ///< the card failed, see `text`
        Interrupted, ///< work on the card stopped in the middle, see `text`
        LeftAlone,   ///< a card that is not touched, see `text`
        Waiting,     ///< for a card, see `text`
        Note,        ///< anything else that a person should know
        End,         ///< of the run, see `text`
    };

    Kind kind = Kind::Note;
    std::string reader;
    std::int64_t row = 0;
    std::string who;
    std::string step; ///< "generate-key"
    std::string text;
};

/// How far the desk is, with what other stations have done.
struct Stand {
    std::int64_t done = 0;
    std::int64_t failed = 0;
    std::int64_t total = 0; ///< rows, without those that were dropped
};

/// Where events go. Called from several threads.
class Progress {
public:
    Progress() = default;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    virtual ~Progress() = default;

    virtual void tell(const Event& event) = 0;
    /// Said at the beginning, from time to time, and when a card has failed.
    virtual void tellStand(const Stand& /*stand*/) {}
};

} // namespace host::desk
