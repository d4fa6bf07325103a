// Handlers of geometries: number arrays, inputs and primitives.
#pragma once

#include "geometry/primitive_handlers.h"
#include "geometry/source_handlers.h"
