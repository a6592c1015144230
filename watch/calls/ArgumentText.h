#pragma once

#include <span>
#include <vector>

#include "cryptoki/cryptoki.h"
#include "watch/calls/Binding.h"
#include "watch/calls/JsonLine.h"

namespace watch {

/// The room that a call gave for its outputs, kept because the module overwrites the lengths.
struct Rooms {
    std::vector<CK_ULONG> attributes; ///< of the template of C_GetAttributeValue
    CK_ULONG output = 0;              ///< of the one other output with a length
};

/// Writes "in" of a call: its arguments before it, outputs with the room that is given for them. `isOpen` says that all
/// attributes of the object that the call is about may be shown. Throws std::bad_alloc.
void writeInputs(JsonLine& line, const Function& function, Words words, bool isOpen, Rooms& rooms);

/// Writes "out" of a call that has ended with `result`: what the module put into the outputs. Nothing is read past the
/// room that the program gave.
void writeOutputs(JsonLine& line, const Function& function, Words words, bool isOpen, const Rooms& rooms, CK_RV result);

} // namespace watch
