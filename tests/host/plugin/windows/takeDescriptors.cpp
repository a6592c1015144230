#include <string>

void takeDescriptors(const std::string&) {}
