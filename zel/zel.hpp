// Everything a user of the library needs, in one include.
#pragma once

#include "zel/archive/hash.hpp"
#include "zel/foundation/exception.hpp"
