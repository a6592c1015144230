#pragma once

#include <memory>

#include "zel/BaseDLLInterface.h"

namespace plugin {

/// Gives an object of the framework back to the library that made it.
struct Destroy {
    void operator()(Zel::BaseDLLInterface* object) const { object->destroy(); }
};

/// The owner of an object of the framework.
template <class T>
using Owned = std::unique_ptr<T, Destroy>;

} // namespace plugin
