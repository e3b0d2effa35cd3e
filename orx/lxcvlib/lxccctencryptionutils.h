// The compressed and encrypted container that section text travels in.
#pragma once

#include "orx/base/export.h"

#include <array>
#include <iosfwd>
#include <optional>
#include <string>

namespace LxCV {

class LxAFrameGrabber;

/// Packs section text into a container and unpacks it, and keeps the backup copy of a camera's own file as one.
/// Integers are little-endian, sizes are in bytes.
///
/// Version 2, the one that is written: the byte 2; the uncompressed, the compressed and the encrypted size, each
/// an unsigned 32-bit integer; then the zlib stream of the text, encrypted by `CVantaCrypt` (AES-256-GCM). Version
/// 1, only read: the byte 1; the uncompressed and the compressed size; the zlib stream as it is. What follows a
/// container in its stream is not looked at, since a device's storage area is longer than what it holds.
///
/// The functions keep no state and may run on many threads at once, each on streams of its own.
class ORX_EXPORT LxCCCTEncryptionUtils
{
public:
    LxCCCTEncryptionUtils() = default;
    LxCCCTEncryptionUtils(const LxCCCTEncryptionUtils&) = default;
    LxCCCTEncryptionUtils& operator=(const LxCCCTEncryptionUtils&) { return *this; }
    LxCCCTEncryptionUtils& operator=(LxCCCTEncryptionUtils&&) noexcept { return *this; }

    /// Writes the whole text, wherever it has been read to, to `sink` as a container of version 2. Logs to the
    /// channel "Diagnostics.Lumorad".
    /// @return whether it was written. A text that compresses to 65523 bytes or more, which the device has no room
    /// for, is deliberately no failure: it is logged as an error, nothing is written, and the result is true
    static bool EncryptAndCompress(std::stringstream& text, std::ostream& sink);

    /// Reads a container of either version and appends its text, and behind it one NUL byte, to `text`.
    ///
    /// The container may be hostile: memory is taken as bytes really come, and a container that is cut, changed,
    /// made under another key, that lies about a size or claims a text longer than any that is written (some
    /// 64 MiB) is refused.
    /// @return whether it was read; on failure `text` is as it was, and the log has the line
    /// "Read ini-file failed" at error level
    static bool DecryptAndDecompress(std::stringstream& text, std::istream& source);

    /// Names the copies on this computer of the file that a grabber's camera keeps, as path texts; both are empty
    /// without a grabber.
    /// @param programCopy the program's folder, a backslash, the camera's serial number and ".dat": installed with the
    ///        program, never written
    /// @param dataCopy the same in the folder Lumorad of `platform::GetProgramDataDir`; that folder is made here where
    ///        it is absent, and a failure to make it shows as the file is opened
    /// @throws std::runtime_error as `GetAppPathA` does
    static void GetIniBackupFilenames(std::string& programCopy, std::string& dataCopy,
                                      LxAFrameGrabber* grabber);

    /// Reads `dataCopy` as `DecryptAndDecompress` does, or `programCopy` where the former does not open; one that is
    /// there but damaged is not passed over. Only regular files open.
    /// @return false without a grabber, where neither opens, for a serial number that is no file name, or on failure
    static bool ReadIniFileFromCryptedFile(std::stringstream& text, LxAFrameGrabber* grabber);

    /// Replaces `dataCopy` as `EncryptAndCompress` does. A text that is too big leaves an empty file.
    /// @return false without a grabber, for a serial number that is no file name, or if the file cannot be opened or
    ///         written whole
    static bool WriteIniFileToCryptedFile(std::stringstream& text, LxAFrameGrabber* grabber);

protected:
    static constexpr std::size_t mcs_uiKeySize = 32;

    /// The key of all devices. It is in no source: each call reads it from the machine's key file, which is made
    /// where there is none. Nothing where that fails, with a log line.
    static std::optional<std::array<unsigned char, mcs_uiKeySize>> mcs_vcKeyBlob();
};

} // namespace LxCV
