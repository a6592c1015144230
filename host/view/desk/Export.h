#pragma once

#include <functional>
#include <string>

#include "host/desk/journal/DeskRecord.h"

// A desk's journal for other programs, a line at a time.

namespace host::view {

using LineSink = std::function<void(const std::string& line)>;

/// Comma-separated values (RFC 4180, UTF-8, CRLF): a line of names, then a line for each card that was begun and for
/// each row of the list without one. Times are UTC, durations seconds. A cell that a spreadsheet would calculate,
/// because it begins with "=", "+", "-", "@" or a tab, gets an apostrophe in front.
void exportCsv(const desk::DeskRecord& record, const LineSink& write);

/// JSON lines: an object for each row of the list, with its cards, their steps and what is to be revoked of it. Times
/// are microseconds since the Unix epoch.
void exportJsonLines(const desk::DeskRecord& record, const LineSink& write);

} // namespace host::view
