// What the base services tell about threads as such.
#pragma once

#include "orx/base/export.h"

#include <cstdint>
#include <string>

class ORX_EXPORT BtThreadInfo
{
public:
    BtThreadInfo() = delete;

    /// Logs a warning that a running thread is given up before its work is done.
    static void WarnOnTermination(const std::string& name, std::uint32_t threadId);
};
