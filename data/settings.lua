-- Default settings of the library. A host keeps a file of the same form that holds only the keys which differ,
-- and names it by the environment variable LXCV_SETTINGS or by LxCSettingsStore::SetHostFile.
--
-- A file is a Lua program that fills one table a group. It may compute its values with type, tostring, tonumber,
-- pairs, ipairs, select, error, assert and math (abs, ceil, cos, deg, floor, huge, max, min, pi, rad, sin, sqrt,
-- tan); it has no access to files, programs or other modules, and its time and memory are bounded.
--
-- Each comment says the unit and, in brackets, who reads the value. "Acquisition loop", "decoding stage",
-- "calibration program" and "registration" are stages of the host, which read through LxCLxCVLibSettings.

LxCVLib = {

    -- Measurement presets [LxCAlgorithmConfig, for the decoding stage] -----------------------------------------

    -- Whether stripe edges must appear in the order of the slide.
    OrderingConstraint = true,
    -- Whether a code word names the other edges of its symbols, too, not only the last one.
    CheckOtherSymbols = true,
    -- Successive code words of a column that must agree before they give edges a number; count.
    MinNumSymbols = 2,
    -- Whether gaps in traced edges are closed. Off: gaps of few columns are rare, and to look for them takes some 3 % of
    -- the decoding's time.
    RepairEdges = false,
    -- Whether that is done only where it bridges no undercut.
    RepairEdgesUndercutFree = true,
    -- Whether outliers are removed from the point cloud.
    Clean3DData = true,
    -- Whether the reference image is shifted onto the pattern image for the camera's motion between the two. Off: for a
    -- camera that takes both within milliseconds; to estimate the motion takes some 6 % of the decoding's time.
    UseReferenceShift = false,
    -- Largest shift of the reference image along either axis, and border of the image that is not used to find it; pixels.
    BoundaryShiftedRefImg = 10,
    -- Whether points beyond DepthCulling_mm of the device's parameter set are dropped. Off, because a parameter
    -- set without that key has the limit 0.
    EnableDepthCulling = false,
    -- Whether points on the device's side of its exit window are dropped. Off until the window is calibrated.
    EnableExitWindowCulling = false,
    -- Whether a reduced cloud is smoothed.
    SmoothReducedData = true,
    -- Columns without 3D data at the right border, on top of the border all round; pixels [LxCImageData too].
    Boundary3DData = 0,
    -- Border without 3D data on all four sides; pixels.
    Boundary3DDataAllRound = 10,

    -- Point cloud ----------------------------------------------------------------------------------------------

    -- 0 full cloud, 1 and 2 reduced clouds of a third of the width [LxCAlgorithmConfig, LxSScanDataCCT].
    ReduceData = 0,
    -- Whether each measurement is to be written as a 3D file; the library writes none by itself [host].
    Dump3DData = false,
    -- Folder of these files; absolute, or relative to the working folder [LxCCCLAlgoConfig].
    Dump3DDataPath = "Dump3DData",
    -- Smallest cosine of the angle between a point's normal and its viewing ray; no unit [decoding stage].
    Clean3DDataDotProductThresh = 0.2,
    -- Largest step in depth between points of one surface within 3 columns and rows; mm, camera frame [decoding stage].
    Clean3DDataZDistThresh = 0.5,
    -- Longest gap in a traced edge that is closed; columns [LxCEdgeDetectionConfig].
    RepairEdgesMaxNumGaps = 2,
    -- Whether the base shift of a stripe edge is added to its calibrated slide position [LxCStripePattern].
    ReplaceEdgePositionRaw = true,
    -- Whether the cloud is to be resampled to a regular grid of pixels; the library does not by itself [host].
    UseRegularGridPointCloud = false,

    -- Acquisition ----------------------------------------------------------------------------------------------

    -- Whether every acquired raw image is written to disk [acquisition loop].
    SaveRawImages = false,
    -- Whether the data that belong to these images are written beside them [acquisition loop].
    SaveRawImageMetaData = false,
    -- Time from one replayed image set to the next; ms [acquisition loop with the simulated frame grabber].
    SimFGSequencePeriodRelease = 60,
    -- Whether that period is kept; otherwise sets are replayed as fast as they are asked for [acquisition loop].
    UseSimFGSequencePeriod = false,
    -- Whether the device's accelerometer is polled, if it has one [LxCFrameGrabberMetaDataThread].
    EnableAccelerometer = true,

    -- Colour of the display; exponents on saturation and value of the HSV space, 1 leaves the colour as it is ---

    -- [3D preview of the host]
    SGammaFor3DPreview = 1.0,
    VGammaFor3DPreview = 1.0,
    -- [live image of the host]
    SGammaForLiveImage = 1.0,
    VGammaForLiveImage = 1.0,
    -- Whether colours are calibrated. Kept for files that carry it; the host's parameter "ShadeDetectionEnabled"
    -- decides.
    CalibrateColors = false,

    -- Calibration ----------------------------------------------------------------------------------------------

    -- Shutter time for images of the exit window, as a multiple of the scatter target's [LxAFrameGrabber].
    ShutterFactExitWindow = 1.0,
    -- Positions of the adjusting screw that are measured; count [calibration program].
    NumCalibScrewPositions = 10,
    -- Positions of these that must succeed; count [calibration program].
    MinNumAcceptedCalibScrewPositions = 8,
    -- Course of the calibration: 0, 1 or 2 [calibration program].
    CalibrationVariant = 1,
    -- Whether located marks are drawn into the images [LxCCalibBody and its targets].
    DrawMarkerPosForDebugging = false,
    -- Whether the coma polynomials survive a reset of the calibration [LxCPinholeFramework].
    ReducedPolynomKoma = false,
    -- Whether traced edges keep their unconfirmed ends, and short gaps are drawn [LxCLightStripeEdge].
    ExtendedTrace = false,

    -- Acceptance of a calibration ------------------------------------------------------------------------------

    -- Largest ratio of distances after to before, where 1 is no change; no unit [LxCCalibCheckerCCT].
    CalibCheckerMaxLengthDiff = 1.01,
    -- The same for a calibration on the small target [calibration program].
    CalibCheckerMaxLengthDiffIMT = 1.02,
    -- Largest residual of the camera; pixels, root mean square [calibration program].
    MaxCalibErrCam = 0.2,
    -- Largest residual of the projector; pixels, root mean square [calibration program].
    MaxCalibErrProj = 0.3,
    -- Largest deviation of a measured plane from flatness; mm [calibration program].
    MaxFlatnessDeviation = 0.05,
    -- Depth at which the exit window may be found; mm, camera frame [calibration program].
    MinExitWindowDepth = 5.0,
    MaxExitWindowDepth = 100.0,
    -- Ratio of the shutter times of pattern and reference image that is accepted; no unit [calibration program].
    MinShutterRatio = 0.25,
    MaxShutterRatio = 4.0,

    -- Shutter times ---------------------------------------------------------------------------------------------

    -- Multiples of the norm shutter times on teeth; no unit [LxAFrameGrabber].
    FactorShutterPatIntraoral = 1.0,
    FactorShutterRefIntraoral = 1.0,
    -- Multiples of the scatter target's shutter times on plaster; no unit [LxAFrameGrabber].
    FactorShutterPatPlaster = 1.0,
    FactorShutterRefPlaster = 1.0,

    -- Registration of one cloud to the next ---------------------------------------------------------------------

    -- Largest accepted displacement; mm [registration].
    OffsetThreshold = 2.0,
    -- Largest accepted rotation; radians [registration].
    RotationRadThreshold = 0.1,
    -- Largest accepted residual; mm, root mean square [registration].
    RMSEThreshold = 0.2,
    -- The same three limits for a registration by texture.
    TextureOffsetThreshold = 1.0,
    TextureRotationRadThreshold = 0.05,
    TextureRMSEThreshold = 0.1,

    -- Live image and device ---------------------------------------------------------------------------------------

    -- Whether a coarse picture is shown before the measurement is complete [acquisition loop].
    UsePreliminaryImage = false,
    -- Whether live images are made of reference images only [acquisition loop].
    ComputeLiveImgOnlyForRef = true,
    -- Time from one polling of temperature and acceleration to the next; ms [LxCFrameGrabberMetaDataThread].
    FrameGrabberAdditionalInfosPeriod = 100,
    -- Deviation from its neighbours by which a sensor pixel counts as defective; grey levels [acquisition loop].
    DefectivePixelThres = 30.0,
    -- Whether a user's calibration is kept out of the camera's memory [calibration program].
    NeverWriteAUserCalib = false,
    -- Whether the ratio of distances is logged after a calibration [calibration program].
    IncludeDistanceRatioInLog = false,
    -- Name of the firmware file for the device; empty for none [firmware update of the host].
    FilenameLumoradFirmware = "",

    -- Automatic exposure [acquisition loop] -----------------------------------------------------------------------

    -- Range and step of the blue gain; dB.
    MinGainBlueAutoMode = 0.0,
    MaxGainBlueAutoMode = 12.0,
    GainStepAutoMode = 0.5,
    -- The histogram of grey values has 32 bins. First bin that counts as well exposed, and as too bright; 0 to 31.
    LowerBarrierBinXTo32 = 20,
    HigherBarrierBinXTo32 = 30,
    -- Share of pixels from the lower bin upward below which an image is a little, or far, too dark; 0 to 1.
    LowerBarrierThresOK = 0.05,
    LowerBarrierThresCritical = 0.01,
    -- Share of pixels from the higher bin upward above which an image is a little, or far, too bright; 0 to 1.
    HigherBarrierThresOK = 0.01,
    HigherBarrierThresCritical = 0.05,
    -- Half of the side of the central square that is looked at; pixels.
    AutoGainHalfRoiSize = 100,
    -- Blue gain at which the shutter time is made shorter, or longer, by a step; dB.
    LowerBarrierBlueGain = 2.0,
    HigherBarrierBlueGain = 10.0,
    -- Steps of the shutter time; count.
    NumShutterSteps = 8,
    -- Images that pass after an adjustment before the next; count.
    IterationsWithoutReadjustment = 3,
    -- Whether the adjustment is written to a text file, and its name.
    DumpAddInfos = false,
    DumpAddInfosFilename = "AddInfos.txt",
    -- Blue gain in dB, and shutter time in microseconds, of images without the device's light.
    NoLEDBlueGain = 0.0,
    NoLEDShutter = 10000.0,

    -- Simulated frame grabber ---------------------------------------------------------------------------------------

    -- Whether stored clouds replace the computed ones [acquisition loop].
    SimFGReplaceComputed3DDataByBQNOFF = false,
    -- Whether each start asks for the files to replay [LxCSimFrameGrabber].
    ShowFileDialogAtEverySimFGStart = false,
}
