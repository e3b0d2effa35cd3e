// What a target exports, owned by value.
#pragma once

#include "lxccalibbody.h"
#include "lxccalibrationdata.h"

#include <memory>
#include <vector>

namespace calibration {

/// The records of a target's marks; the target has no marks afterwards. Empty where it refuses to export.
inline std::vector<LxCV::LxCCalibrationData> ExportRecords(LxCV::LxCCalibBody& target)
{
    std::vector<LxCV::LxCCalibrationData*> exported;
    target.ExportCalibrationData(exported);
    std::vector<std::unique_ptr<const LxCV::LxCCalibrationData>> owned(exported.begin(), exported.end());
    std::vector<LxCV::LxCCalibrationData> records;
    records.reserve(owned.size());
    for (const auto& record : owned) {
        records.push_back(*record);
    }
    return records;
}

} // namespace calibration
