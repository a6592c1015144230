#pragma once

#include "kit/crypto.h"

namespace Ry {

using Keys::IAlgorithm;
using Keys::IAlgorithmParameters;
using Keys::IKey;
using Keys::IPrivateKey;
using Keys::RsaComponent;

} // namespace Ry
