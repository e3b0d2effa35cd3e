// The text type of the base services.
#pragma once

#include <string>

using BtString = std::wstring;
