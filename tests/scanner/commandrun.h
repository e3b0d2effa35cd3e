// Runs the program's commands in tests.
#pragma once

#include "scanner/app/lumorad.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace app {

/// What a run of the program leaves.
struct Outcome
{
    int exitCode;
    std::string out;
    std::string err;
};

inline Outcome RunProgram(const std::vector<std::string>& arguments)
{
    std::ostringstream out;
    std::ostringstream err;
    const int exitCode = RunLumorad(arguments, out, err);
    return {exitCode, out.str(), err.str()};
}

/// Whether a failing command still prints what it found out.
enum class EFailingReport
{
    eNone,
    eAllowed
};

/// What the program prints; of a failing command followed by exit code and message in brackets.
inline std::string RunCommand(const std::vector<std::string>& arguments,
                              EFailingReport report = EFailingReport::eNone)
{
    const auto [exitCode, out, err] = RunProgram(arguments);
    if (exitCode == kExitDone) {
        EXPECT_EQ(err, "");
        return out;
    }
    if (report == EFailingReport::eNone) {
        EXPECT_EQ(out, "");
    }
    return out + "[" + std::to_string(exitCode) + " " + err + "]";
}

/// What `RunCommand` gives of a command that fails with this message.
inline std::string Failure(const std::string& message)
{
    return "[1 lumorad: " + message + "\n]";
}

} // namespace app
