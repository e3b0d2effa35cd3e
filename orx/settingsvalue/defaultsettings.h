// The settings that hold where the host's file is silent.
#pragma once

#include "orx/base/export.h"

namespace LxCV {

/// The text of data/settings.lua as it was when the library was built.
ORX_EXPORT const char* GetDefaultSettings();

} // namespace LxCV
