// Handlers of images, texture references, materials and effects.
#pragma once

#include "appearance/image_handlers.h"
#include "appearance/material_handlers.h"
