#pragma once

#include <string>

// The folder of this module, with a separator at its end; in UTF-8.
std::string ModuleFolder();
