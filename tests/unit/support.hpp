// What the unit tests share: texts, files and fixtures, what is logged, child processes, tools that are scripts, and
// lists. The other headers of support/ are for the few that need them; some define what the program calls.
#pragma once

#include "support/files.hpp"
#include "support/lists.hpp"
#include "support/log.hpp"
#include "support/process.hpp"
#include "support/text.hpp"
#include "support/tools.hpp"
