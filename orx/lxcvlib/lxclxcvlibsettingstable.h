// The settings of the group "LxCVLib", one in a row, in the order of the section text.
//
// A row gives the value's type, the letter of its member's name, its key in the settings file, its key in the
// section text, and its accessors:
//   LXC_READ_WRITE    both accessors,
//   LXC_READ_ONLY     no setter,
//   LXC_HAND_WRITTEN  accessors that are no mere accessors stand in the class.
// data/settings.lua tells units and readers.
//
// Before inclusion define what each row is to become; what is not defined becomes nothing:
//   LXC_VALUE(type, letter, key)              the value itself
//   LXC_GETTER(type, letter, key, getter)     its getter, if generated
//   LXC_SETTER(type, letter, key, setter)     its setter, if generated
//   LXC_TEXT_KEY(type, letter, key, textKey)  its place in the section text
//   LXC_BLOCK_COMMENT(text)                   a comment in the section text
// No include guard: the file is included once for each purpose, and leaves no macro behind.

#ifndef LXC_VALUE
#define LXC_VALUE(type, letter, key)
#endif
#ifndef LXC_GETTER
#define LXC_GETTER(type, letter, key, getter)
#endif
#ifndef LXC_SETTER
#define LXC_SETTER(type, letter, key, setter)
#endif
#ifndef LXC_TEXT_KEY
#define LXC_TEXT_KEY(type, letter, key, textKey)
#endif
#ifndef LXC_BLOCK_COMMENT
#define LXC_BLOCK_COMMENT(text)
#endif

#define LXC_HAND_WRITTEN(type, letter, key, textKey)                                                         \
    LXC_VALUE(type, letter, key)                                                                             \
    LXC_TEXT_KEY(type, letter, key, textKey)
#define LXC_READ_ONLY(type, letter, key, textKey, getter)                                                    \
    LXC_HAND_WRITTEN(type, letter, key, textKey)                                                             \
    LXC_GETTER(type, letter, key, getter)
#define LXC_READ_WRITE(type, letter, key, textKey, getter, setter)                                           \
    LXC_READ_ONLY(type, letter, key, textKey, getter)                                                        \
    LXC_SETTER(type, letter, key, setter)

// A row a line.
// clang-format off
LXC_READ_ONLY(bool, b, OrderingConstraint, "OrderingConstraint", IsMeasurementSettingOrderingConstraint)
LXC_READ_ONLY(bool, b, CheckOtherSymbols, "CheckOtherSymbols", IsMeasurementSettingCheckOtherSymbols)
LXC_READ_ONLY(int, i, MinNumSymbols, "MinNumSymbols", GetMeasurementSettingMinNumSymbols)
LXC_READ_ONLY(bool, b, RepairEdges, "RepairEdges", IsMeasurementSettingRepairEdgesEnable)
LXC_READ_ONLY(bool, b, RepairEdgesUndercutFree, "RepairEdgesUndercutFree", IsMeasurementSettingRepairEdgesUndercutFree)
LXC_READ_ONLY(bool, b, Clean3DData, "Clean3DData", IsMeasurementSettingClean3DData)
LXC_READ_ONLY(bool, b, UseReferenceShift, "UseReferenceShift", IsMeasurementSettingUseReferenceShift)
LXC_READ_ONLY(int, i, BoundaryShiftedRefImg, "BoundaryShiftedRefImg", GetMeasurementSettingBoundaryShiftedRefImg)
LXC_READ_ONLY(bool, b, EnableDepthCulling, "EnableDepthCulling", IsMeasurementSettingEnableDepthCulling)
LXC_READ_ONLY(bool, b, EnableExitWindowCulling, "EnableExitWindowCulling", IsMeasurementSettingEnableExitWindowCulling)

LXC_BLOCK_COMMENT("\n\nLxCCCLAlgoConfig")
LXC_HAND_WRITTEN(int, i, ReduceData, "ReducedData")
LXC_READ_WRITE(bool, b, Dump3DData, "Dump3DData", IsDump3DData, SetDump3DData)
LXC_READ_WRITE(std::wstring, s, Dump3DDataPath, "Dump3DDataPath", GetDump3DDataPath, SetDump3DDataPath)
LXC_READ_WRITE(float, f, Clean3DDataDotProductThresh, "Clean3DDataDotProductThresh", GetClean3DDataDotProductThresh, SetClean3DDataDotProductThresh)
LXC_READ_WRITE(float, f, Clean3DDataZDistThresh, "Clean3DDataZDistThresh", GetClean3DDataZDistThresh, SetClean3DDataZDistThresh)
LXC_READ_WRITE(int, i, RepairEdgesMaxNumGaps, "RepairEdgesMaxNumGaps", GetRepairEdgesMaxNumGaps, SetRepairEdgesMaxNumGaps)
LXC_READ_ONLY(bool, b, ReplaceEdgePositionRaw, "ReplaceEdgePositionRaw", IsReplaceEdgePositionRaw)
LXC_READ_WRITE(bool, b, UseRegularGridPointCloud, "UseRegularGridPointCloud", IsUseRegularGridPointCloud, SetUseRegularGridPointCloud)

LXC_BLOCK_COMMENT("\n\nLxCImgAcqThread")
LXC_READ_WRITE(bool, b, SaveRawImages, "SaveRawImages", IsSaveRawImages, SetSaveRawImages)
LXC_READ_WRITE(bool, b, SaveRawImageMetaData, "SaveRawImageMetaData", IsSaveRawImageMetaData, SetSaveRawImageMetaData)
LXC_READ_WRITE(int, i, SimFGSequencePeriodRelease, "SimFGSequencePeriod", GetSimFGSequencePeriod, SetSimFGSequencePeriod)
LXC_READ_WRITE(bool, b, UseSimFGSequencePeriod, "UseSimFGSequencePeriod", IsUseSimFGSequencePeriod, SetUseSimFGSequencePeriod)
LXC_READ_WRITE(bool, b, EnableAccelerometer, "EnableAccelerometer", GetEnableAccelerometer, SetEnableAccelerometer)

LXC_BLOCK_COMMENT("\n\nGamma-Korrektur der aufgenommenen Farben im HSV-Raum")
LXC_READ_WRITE(float, f, SGammaFor3DPreview, "SGammaFor3DPreview", GetSGammaCorrectionFor3DPreview, SetSGammaCorrectionFor3DPreview)
LXC_READ_WRITE(float, f, VGammaFor3DPreview, "VGammaFor3DPreview", GetVGammaCorrectionFor3DPreview, SetVGammaCorrectionFor3DPreview)

LXC_BLOCK_COMMENT("\n\nKalibrierung")
LXC_READ_WRITE(float, f, ShutterFactExitWindow, "ShutterFactExitWindow", GetShutterFactExitWindow, SetShutterFactExitWindow)
LXC_READ_WRITE(int, i, NumCalibScrewPositions, "NumCalibScrewPositions", GetNumCalibScrewPositions, SetNumCalibScrewPositions)
LXC_READ_WRITE(int, i, MinNumAcceptedCalibScrewPositions, "MinNumAcceptedCalibScrewPositions", GetMinNumAcceptedCalibScrewPositions, SetMinNumAcceptedCalibScrewPositions)
LXC_HAND_WRITTEN(int, i, CalibrationVariant, "CalibrationVariant")
LXC_READ_WRITE(bool, b, DrawMarkerPosForDebugging, "DrawMarkerPosForDebugging", IsDrawMarkerPosForDebugging, SetDrawMarkerPosForDebugging)
LXC_READ_WRITE(bool, b, ReducedPolynomKoma, "ReducedPolynomKoma", IsReducedPolynomKoma, SetReducedPolynomKoma)
LXC_READ_WRITE(bool, b, ExtendedTrace, "ExtendedTrace", GetExtendedTrace, SetExtendedTrace)

LXC_BLOCK_COMMENT("\n\nCalibChecker")
LXC_READ_WRITE(float, f, CalibCheckerMaxLengthDiff, "CalibCheckerMaxLengthDiff", GetCalibCheckerMaxLengthDiff, SetCalibCheckerMaxLengthDiff)
LXC_READ_WRITE(float, f, CalibCheckerMaxLengthDiffIMT, "CalibCheckerMaxLengthDiffIMT", GetCalibCheckerMaxLengthDiffIMT, SetCalibCheckerMaxLengthDiffIMT)
LXC_READ_WRITE(float, f, MaxCalibErrCam, "MaxCalibErrCam", GetMaxCalibErrCam, SetMaxCalibErrCam)
LXC_READ_WRITE(float, f, MaxCalibErrProj, "MaxCalibErrProj", GetMaxCalibErrProj, SetMaxCalibErrProj)
LXC_READ_WRITE(float, f, MaxFlatnessDeviation, "MaxFlatnessDeviation", GetMaxFlatnessDeviation, SetMaxFlatnessDeviation)
LXC_READ_WRITE(float, f, MinExitWindowDepth, "MinExitWindowDepth", GetMinExitWindowDepth, SetMinExitWindowDepth)
LXC_READ_WRITE(float, f, MaxExitWindowDepth, "MaxExitWindowDepth", GetMaxExitWindowDepth, SetMaxExitWindowDepth)
LXC_READ_WRITE(float, f, MinShutterRatio, "MinShutterRatio", GetMinShutterRatio, SetMinShutterRatio)
LXC_READ_WRITE(float, f, MaxShutterRatio, "MaxShutterRatio", GetMaxShutterRatio, SetMaxShutterRatio)

LXC_BLOCK_COMMENT("\n\nSonstiges")
LXC_READ_WRITE(float, f, FactorShutterPatIntraoral, "FactorShutterPatIntraoral", GetFactorShutterPatIntraoral, SetFactorShutterPatIntraoral)
LXC_READ_WRITE(float, f, FactorShutterRefIntraoral, "FactorShutterRefIntraoral", GetFactorShutterRefIntraoral, SetFactorShutterRefIntraoral)
LXC_READ_WRITE(float, f, FactorShutterPatPlaster, "FactorShutterPatPlaster", GetFactorShutterPatPlaster, SetFactorShutterPatPlaster)
LXC_READ_WRITE(float, f, FactorShutterRefPlaster, "FactorShutterRefPlaster", GetFactorShutterRefPlaster, SetFactorShutterRefPlaster)
LXC_READ_WRITE(float, f, TextureOffsetThreshold, "TextureOffsetThreshold", GetTextureOffsetThreshold, SetTextureOffsetThreshold)
LXC_READ_WRITE(float, f, TextureRotationRadThreshold, "TextureRotationRadThreshold", GetTextureRotationRadThreshold, SetTextureRotationRadThreshold)
LXC_READ_WRITE(float, f, TextureRMSEThreshold, "TextureRMSEThreshold", GetTextureRMSEThreshold, SetTextureRMSEThreshold)
LXC_READ_WRITE(bool, b, UsePreliminaryImage, "UsePreliminaryImage", GetUsePreliminaryImage, SetUsePreliminaryImage)
LXC_READ_WRITE(bool, b, ComputeLiveImgOnlyForRef, "ComputeLiveImgOnlyForRef", GetComputeLiveImgOnlyForRef, SetComputeLiveImgOnlyForRef)
LXC_READ_WRITE(int, i, FrameGrabberAdditionalInfosPeriod, "FrameGrabberAdditionalInfosPeriod", GetFrameGrabberAdditionalInfosPeriod, SetFrameGrabberAdditionalInfosPeriod)
LXC_READ_WRITE(float, f, DefectivePixelThres, "DefectivePixelThres", GetDefectivePixelThres, SetDefectivePixelThres)
LXC_READ_WRITE(bool, b, NeverWriteAUserCalib, "NeverWriteAUserCalib", IsNeverWriteAUserCalib, SetNeverWriteAUserCalib)
LXC_READ_WRITE(bool, b, IncludeDistanceRatioInLog, "IncludeDistanceRatioInLog", IsIncludeDistanceRatioInLog, SetIncludeDistanceRatioInLog)

LXC_BLOCK_COMMENT("\n\nAutomatische Belichtungszeitanpassung")
LXC_READ_WRITE(float, f, MinGainBlueAutoMode, "MinGainBlueAutoMode", GetMinGainBlueAutoMode, SetMinGainBlueAutoMode)
LXC_READ_WRITE(float, f, MaxGainBlueAutoMode, "MaxGainBlueAutoMode", GetMaxGainBlueAutoMode, SetMaxGainBlueAutoMode)
LXC_READ_WRITE(float, f, GainStepAutoMode, "GainStepAutoMode", GetGainStepAutoMode, SetGainStepAutoMode)
LXC_READ_WRITE(int, i, LowerBarrierBinXTo32, "LowerBarrierBinXTo32", GetLowerBarrierBinXTo32, SetLowerBarrierBinXTo32)
LXC_READ_WRITE(int, i, HigherBarrierBinXTo32, "HigherBarrierBinXTo32", GetHigherBarrierBinXTo32, SetHigherBarrierBinXTo32)
LXC_READ_WRITE(float, f, LowerBarrierThresOK, "LowerBarrierThresOK", GetLowerBarrierThresOK, SetLowerBarrierThresOK)
LXC_READ_WRITE(float, f, HigherBarrierThresOK, "HigherBarrierThresOK", GetHigherBarrierThresOK, SetHigherBarrierThresOK)
LXC_READ_WRITE(float, f, LowerBarrierThresCritical, "LowerBarrierThresCritical", GetLowerBarrierThresCritical, SetLowerBarrierThresCritical)
LXC_READ_WRITE(float, f, HigherBarrierThresCritical, "HigherBarrierThresCritical", GetHigherBarrierThresCritical, SetHigherBarrierThresCritical)
LXC_READ_WRITE(int, i, AutoGainHalfRoiSize, "AutoGainHalfRoiSize", GetAutoGainHalfRoiSize, SetAutoGainHalfRoiSize)
LXC_READ_WRITE(float, f, LowerBarrierBlueGain, "LowerBarrierBlueGain", GetLowerBarrierBlueGain, SetLowerBarrierBlueGain)
LXC_READ_WRITE(float, f, HigherBarrierBlueGain, "HigherBarrierBlueGain", GetHigherBarrierBlueGain, SetHigherBarrierBlueGain)
LXC_READ_WRITE(int, i, NumShutterSteps, "NumShutterSteps", GetNumShutterSteps, SetNumShutterSteps)
LXC_READ_WRITE(int, i, IterationsWithoutReadjustment, "IterationsWithoutReadjustment", GetIterationsWithoutReadjustment, SetIterationsWithoutReadjustment)
LXC_READ_WRITE(bool, b, DumpAddInfos, "DumpAddInfos", IsDumpAddInfos, SetDumpAddInfos)
LXC_READ_WRITE(std::wstring, s, DumpAddInfosFilename, "DumpAddInfosFilename", GetDumpAddInfosFilename, SetDumpAddInfosFilename)
LXC_READ_WRITE(float, f, NoLEDBlueGain, "NoLEDBlueGain", GetNoLEDBlueGain, SetNoLEDBlueGain)
LXC_READ_WRITE(bool, b, SimFGReplaceComputed3DDataByBQNOFF, "SimFGReplaceComputed3DDataByBQNOFF", IsSimFGReplaceComputed3DDataByBQNOFF, SetSimFGReplaceComputed3DDataByBQNOFF)
LXC_READ_WRITE(float, f, NoLEDShutter, "NoLEDShutter", GetNoLEDShutter, SetNoLEDShutter)
LXC_READ_WRITE(bool, b, ShowFileDialogAtEverySimFGStart, "ShowFileDialogAtEverySimFGStart", IsShowFileDialogAtEverySimFGStart, SetShowFileDialogAtEverySimFGStart)
LXC_READ_WRITE(std::wstring, s, FilenameLumoradFirmware, "FilenameLumoradFirmware", GetFilenameLumoradFirmware, SetFilenameLumoradFirmware)

// From here on nothing stands in the section text.
#undef LXC_TEXT_KEY
#define LXC_TEXT_KEY(type, letter, key, textKey)

LXC_HAND_WRITTEN(bool, b, CalibrateColors, "")
LXC_READ_ONLY(bool, b, SmoothReducedData, "", IsMeasurementSettingSmoothReducedData)
LXC_READ_ONLY(int, i, Boundary3DData, "", GetMeasurementSettingBoundary3DData)
LXC_READ_ONLY(int, i, Boundary3DDataAllRound, "", GetMeasurementSettingBoundary3DDataAllRound)
LXC_READ_WRITE(float, f, OffsetThreshold, "", GetOffsetThreshold, SetOffsetThreshold)
LXC_READ_WRITE(float, f, RotationRadThreshold, "", GetRotationRadThreshold, SetRotationRadThreshold)
LXC_READ_WRITE(float, f, RMSEThreshold, "", GetRMSEThreshold, SetRMSEThreshold)
LXC_READ_WRITE(float, f, SGammaForLiveImage, "", GetSGammaCorrectionForLiveImage, SetSGammaCorrectionForLiveImage)
LXC_READ_WRITE(float, f, VGammaForLiveImage, "", GetVGammaCorrectionForLiveImage, SetVGammaCorrectionForLiveImage)
// clang-format on

#undef LXC_VALUE
#undef LXC_GETTER
#undef LXC_SETTER
#undef LXC_TEXT_KEY
#undef LXC_BLOCK_COMMENT
#undef LXC_HAND_WRITTEN
#undef LXC_READ_ONLY
#undef LXC_READ_WRITE
