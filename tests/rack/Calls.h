#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <string>

#include "cryptoki/cryptoki.h"

namespace rack {

/// What a call has to answer.
struct Fault {
    CK_RV code = CKR_OK;       ///< CKR_OK: what the card answers
    bool isAfterwards = false; ///< the card carries the call out first
};

/// The calls on one reader: counted by function since C_Initialize, written to the file that RACK_CALLS names, and made
/// to fail by the reader's file `fault`: "C_Sign 2 0x30" for the second C_Sign alone and "C_Sign 0 0x30" for each,
/// "C_Sign 2 0x30 afterwards" when the card carries it out. May be used from several threads.
class Calls {
public:
    explicit Calls(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    [[nodiscard]] Fault next(const std::string& function);

private:
    std::filesystem::path m_folder;
    std::mutex m_mutex; ///< of what follows
    std::map<std::string, unsigned> m_counts;
};

} // namespace rack
