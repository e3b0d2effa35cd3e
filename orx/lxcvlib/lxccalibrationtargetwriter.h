// The measured coordinates of printed calibration targets: from the archive of all targets to the registry.
#pragma once

#include "orx/base/export.h"

#include <array>
#include <iosfwd>
#include <string>

namespace LxCV {

/// Makes the data file of one printed calibration target and puts it into the registry, where `LxCCalibBody` finds it.
///
/// A target's number has eight decimal digits d0 to d7. The first ones tell its kind:
///
///     d0 = 0, 1                 paper target
///     d0 = 2, d1 below 5        paper target
///     d0 = 2, d1 from 5; d0 = 3 target with the label type IMT, of known coordinates
///     d0 from 4                 a third kind, of which there is no data
///
/// d0 to d5 name the target; d6 and d7 are check digits, see `isValidChecksum`.
///
/// The archive is a frame of little-endian integers around the text, deflated as one zlib stream:
///
///     offset 0, 1 byte    version, 1
///     offset 1, 4 bytes   length of the text
///     offset 5, 4 bytes   length of the deflated text
///     offset 9            the deflated text
///
/// The text has two lines a target, in any order of targets: "::" and the digits d0 to d5, and the coordinates (mm,
/// target frame), in which a tab stands for each line break. The lines end with a line feed.
///
/// All operations are static and keep no state; those on different streams may run at once. Channel
/// "ORX.Lumorad.LxCCalibrationTargetWriter".
class ORX_EXPORT LxCCalibrationTargetWriter
{
public:
    /// Bytes of the buffer in which a data file is built. A data file is shorter by one byte at least, so that a zero
    /// byte ends it wherever it is read as text.
    static constexpr int sc_iMaxDataSize = 8192;

    /// Bytes of the longest text that an archive may hold, some 25000 targets: what deflate makes of a small hostile
    /// file could otherwise take all memory.
    static constexpr unsigned int sc_uiMaxArchiveText = 128U << 20;

    /// Where a data file is in the registry, below the current user's root.
    static constexpr const char* sc_sRegistryKey =
        "SOFTWARE\\Kelvane Optic Systems\\CADCAM\\Device\\Acquisition\\Lumorad";
    static constexpr const char* sc_sRegistryValue = "calibrationdata";

    enum ETargetType
    {
        eTT_Paper = 0,
        eTT_IMT = 1,
        eTT_WithoutData = 2, ///< the third kind
        eTT_Invalid = 3      ///< no valid number
    };

    enum ECalibDataReturnCode
    {
        eCDRC_Success = 0,
        eCDRC_InvalidNumber = 1,
        eCDRC_NoData =
            2, ///< for this kind of target or this number; also where the data do not fit the buffer
        eCDRC_ArchiveNotReadable = 3, ///< or missing
        eCDRC_RegistryWriteFailed = 4
    };

    /// The kind of target that a number names.
    /// @param number any text; the narrow one is left with its digits alone. Digits behind the eighth do not count
    static ETargetType GetTargetType(std::string& number);
    static ETargetType GetTargetType(const std::wstring& number);

    /// Makes the data file of a target and writes it to the registry, from the archive at `GetArchivePath` or from
    /// `archive`, a binary stream that is read for paper targets alone. On failure the registry is as it was.
    ///
    /// Logs the archive that does not open at info level; a damaged archive, coordinates that do not fit and what the
    /// registry tells at error level.
    static ECalibDataReturnCode WriteCalibDataToRegistry(const std::string& number);
    static ECalibDataReturnCode WriteCalibDataToRegistry(const std::wstring& number);
    static ECalibDataReturnCode WriteCalibDataToRegistry(const std::string& number, std::istream& archive);

    /// The archive's path text: "/HEXFILES/LumoradCalibrationData.dat" behind the folder of the running program.
    /// @throws std::runtime_error as `GetAppPathA` does
    static std::string GetArchivePath();

    /// Bytes of the longest coordinates of a paper target that fit a data file, two for each line break.
    static unsigned int GetMaxCoordinatesSize();

    /// Writes the rest of `text` as an archive, as it stands.
    /// @return false, with a log line, where it is longer than `sc_uiMaxArchiveText` or cannot be read or written
    static bool compress(std::istream& text, std::ostream& output);

    /// Appends the text of an archive to `text`. The archive may be hostile: lengths that lie are found out before
    /// memory is taken for them.
    /// @return false, with a log line and nothing written to `text`, for what is no archive; bytes behind one do not
    /// count
    static bool decompress(std::ostream& text, std::istream& input);

    /// Whether the first eight characters are digits and the last two of them fit the others:
    ///
    ///     d6 = -(2 (d0 + d2 + d4) + d1 + d3 + d5) mod 10
    ///     d7 = -(2 (d1 + d3 + d5) + d0 + d2 + d4) mod 10
    static bool isValidChecksum(const std::string& number);

    /// Removes every character but '0' to '9'.
    static void removeNonDigit(std::string& text);

    /// Tools for the maker of an archive: "LumoradCalibrationDataOrig.dat" beside the archive is the text that is
    /// written as the archive; an archive's text becomes "LumoradCalibrationDataOrigReconstruct.dat".
    /// @return false, with a log line, where a file cannot be read or written; a file that was there is replaced
    /// whole or stays
    static bool DebugReadOrigAndWriteCrypted();
    static bool DebugReadCryptedAndWriteOrig();

protected:
    using Buffer = std::array<char, sc_iMaxDataSize>;

    /// Build the data file of a target in a zeroed buffer.
    /// @param number eight digits or more
    /// @param length set to the bytes of the data file; unspecified on failure
    static ECalibDataReturnCode writePaperTarget(Buffer& buffer, const std::string& number,
                                                 unsigned int& length);
    static ECalibDataReturnCode writePaperTarget(Buffer& buffer, const std::string& number,
                                                 unsigned int& length, std::istream& archive);
    static ECalibDataReturnCode writeIMTTarget(Buffer& buffer, const std::string& number,
                                               unsigned int& length);

    /// Replaces the value in the registry; see `sc_sRegistryKey`.
    static ECalibDataReturnCode writeToRegistry(const Buffer& buffer, unsigned int length);

private:
    /// @param archive null for the one at `GetArchivePath`
    static ECalibDataReturnCode buildAndWrite(std::string number, std::istream* archive);
};

} // namespace LxCV
