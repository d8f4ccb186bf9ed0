// What the sources of the wlctl readers share.
#pragma once

#include "tool.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

namespace vantu
{

// The path at the head of every command line; changed by vantu_ll_wlctl_init only.
extern const char *wlctl_path;

} // namespace vantu
