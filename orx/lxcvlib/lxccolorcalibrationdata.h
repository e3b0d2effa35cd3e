// The colour calibration of one camera, and its files.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btdatetime.h"

#include <array>
#include <memory>
#include <string>

namespace LxCV {

class CCTImage;

/// What a colour calibration finds out about a camera: a matrix, an image of white, and the circumstances that they hold
/// for.
///
/// The matrix M is 3 by 4, row by row: a colour (x, y, z) becomes M (x, y, z, 1). The order of the channels is that of
/// the program that calibrates.
///
/// On the disk a record is two files, for a folder p, whose text ends with a separator, and a camera c:
///
///     p ColorCalibrationData_c.dat    version word 3; matrix, shutter correction factor, shutter time and reference
///                                     depth as 15 floats; calibration date: see `YmStream`, `BtDateTime`
///     p WhiteBalanceImage_c.tif       the image, a colour of 8 bits a channel
///
/// A camera's name with a separator or a NUL names no file, so that no name leads out of the folder; any other does.
///
/// Data never stand beside the image of another calibration: while the image is replaced, the data file is empty, which
/// is none of a record. Numbers that are not finite, of the data as of the image, are neither written nor read.
///
/// Nothing is logged here; `CCTImage` logs image files that it cannot read or write.
///
/// Owns its image. One thread at a time; reading is for many.
class ORX_EXPORT LxCColorCalibrationData
{
public:
    /// Matrices are three rows of four.
    using Matrix = std::array<float, 12>;

    static constexpr int sc_iVersion = 3;                      ///< of the data file
    static constexpr int sc_iMonthsOfValidity = 2;             ///< after which a calibration has expired
    static constexpr int sc_iLargestWhiteBalanceImg = 1 << 26; ///< pixels; more than a camera has

    /// The identity with a right column of 0, no image, no date; nothing is set.
    LxCColorCalibrationData();
    LxCColorCalibrationData(const LxCColorCalibrationData&) = delete;
    LxCColorCalibrationData& operator=(const LxCColorCalibrationData&) = delete;
    virtual ~LxCColorCalibrationData();

    const Matrix& GetColorCalibrationMatrix() const { return m_fMatrix; }

    /// Also makes the calibration one of now. @return true
    bool SetColorCalibrationMatrix(const Matrix& matrix);

    /// Shutter time of the calibration, in the unit of the camera's own shutter. @return true
    bool SetColorCalibrationShutterTime(float shutterTime);
    float GetColorCalibrationShutterTime() const { return m_fShutterTime; }

    /// Depth that the calibration was made at, in the unit of its caller. @return true
    bool SetReferenceDepth(float depth);
    float GetReferenceDepth() const { return m_fReferenceDepth; }

    /// Factor on shutter times; no unit. @return true
    bool SetShutterTimeCorrectionFactor(float factor);
    float GetShutterTimeCorrectionFactor() const { return m_fShutterCorrectionFactor; }

    bool IsColorCalibrationMatrixSet() const { return m_bMatrixSet; }
    bool IsShutterCorrectionFactorSet() const { return m_bShutterCorrectionSet; }
    bool IsReferenceDepthSet() const { return m_bReferenceDepthSet; }
    bool IsColorCalibrationShutterTimeSet() const { return m_bShutterTimeSet; }

    /// Replaces the image by a copy of the same size in floats, see `CCTImage::ConvertToFloat`; a grey one goes to all
    /// channels. Null, an image without pixels, a larger one than `sc_iLargestWhiteBalanceImg` and one that has no such
    /// form leave no image. Pixels that are not finite are kept, but not stored.
    void SetWhiteBalanceImg(const CCTImage* image);

    /// The image, of type `eIDT_FLOAT32_3`, or null. This object keeps it, until it gets another one.
    const CCTImage* GetWhiteBalanceImg() const { return m_pWhiteBalanceImg.get(); }

    /// Grey level: 200 once an image was loaded from or stored in a file, 0 before.
    float GetAverageRGBinROI() const { return m_fAverageRGBinROI; }

    /// When the matrix was set; of a loaded record, what its file says.
    const BtDateTime& GetCalibrationDate() const { return m_CalibrationDate; }

    /// Whether there are a matrix and an image.
    bool IsColorCalibrationDataValid() const;

    /// Whether more than two months have passed since the calibration. A record without a date has expired.
    bool IsColorCalibrationDataExpired() const;

    /// Writes both files, and makes the folder where it is absent.
    /// @param folder path text that ends with a separator, see `platform::NativePath`
    /// @return false, and no file is touched, unless matrix, shutter correction, shutter time and reference depth are
    ///     set, there is an image and the record has not expired; neither for a camera's name that names no file, for
    ///     values that `SerializeFromFile` would refuse, nor where the data file cannot be written. Else whether the
    ///     image is written, and the data file after it. An image that cannot be written leaves the data file as it was
    bool SerializeToFile(const std::wstring& folder, const std::wstring& camera);

    /// The files of a camera in a folder, as path texts; whether there are any or not.
    static std::wstring GetDataFilePath(const std::wstring& folder, const std::wstring& camera);
    static std::wstring GetImageFilePath(const std::wstring& folder, const std::wstring& camera);

    /// Reads both files. Data files of later versions are read as those of version 3; what follows the date does not
    /// count.
    /// @return false, with the record as it was, without a data file or with one of an earlier version, one that ends
    ///     early, has a number that is not finite or a date that is none, and without a readable image whose pixels are
    ///     finite. Else all is set
    bool SerializeFromFile(const std::wstring& folder, const std::wstring& camera);

protected:
    /// Writes the image as a colour of bytes, or replaces it by what is in the file, if that is finite. Success sets
    /// the average.
    /// @param path of the image file
    /// @return whether that worked; otherwise image and average stay
    bool doAdditionalCalculationAfterSerialization(bool saving, const std::wstring& path);

private:
    struct SFields;
    bool IsReadyToStore() const;

    bool m_bMatrixSet = false;
    bool m_bShutterCorrectionSet = false;
    bool m_bReferenceDepthSet = false;
    bool m_bShutterTimeSet = false;
    std::unique_ptr<CCTImage> m_pWhiteBalanceImg; ///< `eIDT_FLOAT32_3`, may be null
    float m_fAverageRGBinROI = 0.0F;              ///< grey level
    float m_fShutterCorrectionFactor = 0.0F;
    float m_fReferenceDepth = 0.0F;
    float m_fShutterTime = 0.0F;
    Matrix m_fMatrix;
    BtDateTime m_CalibrationDate;
};

} // namespace LxCV
