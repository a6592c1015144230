#pragma once

#include <string>
#include <vector>

namespace Conformance {

/// Empty when the lists are equal. Otherwise says where they part and shows both from two lines before that.
[[nodiscard]] std::string difference(const std::vector<std::string>& actual, const std::vector<std::string>& expected);

} // namespace Conformance
