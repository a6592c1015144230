#include <string_view>

#include "host/plugin/Errors.h"
#include "host/view/Trace.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

void Fuzz::trace(const std::uint8_t* data, std::size_t size) {
    try {
        const host::view::Trace read =
            host::view::readTrace(std::string_view(reinterpret_cast<const char*>(data), size), "trace");
        require(!read.spans.empty(), "a trace without scripts is refused");
        for (const host::view::TracedSpan& span : read.spans) {
            require(span.begin <= span.end, "a script ends after its beginning");
            require(!span.isCommand || span.error.empty(), "only scripts have an error");
        }
    } catch (const host::UsageError& error) {
        require(*error.what() != '\0', "a refusal says why");
    }
}
