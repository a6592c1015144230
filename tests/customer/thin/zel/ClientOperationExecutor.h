#pragma once

#include "kit/Worker.h"
#include "zel/ClientOperation.h"
#include "zel/ClientOperationResponse.h"
#include "zel/Export.h"

namespace Zel {

using ClientOperationExecutor = Kit::Worker;

} // namespace Zel
