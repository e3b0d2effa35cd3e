// Container frames around zlib and the parameter cipher.
#include "lxccctencryptionutils.h"

#include "containerfile.h"
#include "lxaframegrabber.h"
#include "orx/logging/logger.h"
#include "orx/parameter/keyfile.h"
#include "orx/parameter/vantacrypt.h"
#include "orx/platform/paths.h"
#include "orx/ymalgo/ymzip.h"
#include "pathutils.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCCTEncryptionUtils");
const Logging::CLogger s_DiagnosticsLogger(L"Diagnostics.Lumorad");

using Bytes = std::vector<unsigned char>;

constexpr int c_iVersionPlain = 1;
constexpr int c_iVersionEncrypted = 2;
constexpr int c_iKeyBits = 256;
constexpr std::size_t c_uiDeviceStorageSize = 0xFFF3; // bytes; a compressed text must be shorter
/// Bytes. No text that is written is longer, as deflate spends at least two bits on 258 bytes.
constexpr std::size_t c_uiLargestText = c_uiDeviceStorageSize * 1032;
constexpr std::size_t c_uiReadStep = 64 * 1024;

/// The sizes in the head of a container.
struct Sizes
{
    std::uint32_t uncompressed;
    std::uint32_t compressed;
    std::uint32_t encrypted;
};

void AppendUInt32(std::string& out, std::size_t value)
{
    for (int shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<char>((value >> shift) & 0xFF));
    }
}

/// Reads `size` bytes and takes memory only as they come, so that a size that lies costs nothing.
Bytes ReadBytes(std::istream& source, std::size_t size)
{
    Bytes bytes;
    while (bytes.size() < size) {
        const std::size_t begin = bytes.size();
        bytes.resize(std::min(size, begin + std::max(begin, c_uiReadStep)));
        const auto wanted = static_cast<std::streamsize>(bytes.size() - begin);
        source.read(reinterpret_cast<char*>(bytes.data() + begin), wanted);
        if (source.gcount() != wanted) {
            throw std::runtime_error("the container ends early");
        }
    }
    return bytes;
}

std::uint32_t ReadUInt32(std::istream& source)
{
    std::uint32_t value = 0;
    int shift = 0;
    for (const unsigned char byte : ReadBytes(source, sizeof value)) {
        value |= static_cast<std::uint32_t>(byte) << shift;
        shift += 8;
    }
    return value;
}

std::unique_ptr<CVantaCrypt> MakeCipher(const std::optional<parameter::KeyBytes>& key)
{
    if (!key) {
        return nullptr;
    }
    auto cipher = CVantaCrypt::GetImplementation(ECryptAlg::eAesGcm, c_iKeyBits);
    return cipher != nullptr && cipher->SetKey(key->data(), key->size()) ? std::move(cipher) : nullptr;
}

/// The encrypted bytes; none on failure, since a ciphertext is never empty.
Bytes Encrypt(CVantaCrypt& cipher, const YmCompressZIP& zip)
{
    std::size_t size = 0;
    if (!cipher.Encrypt(zip.GetOutputBuffer(), zip.GetOutputSize(), nullptr, size)) {
        return {};
    }
    Bytes encrypted(size);
    const bool done = cipher.Encrypt(zip.GetOutputBuffer(), zip.GetOutputSize(), encrypted.data(), size);
    encrypted.resize(done ? size : 0);
    return encrypted;
}

bool WriteContainer(std::ostream& sink, std::size_t textSize, std::size_t compressedSize,
                    const Bytes& encrypted)
{
    std::string head(1, static_cast<char>(c_iVersionEncrypted));
    AppendUInt32(head, textSize);
    AppendUInt32(head, compressedSize);
    AppendUInt32(head, encrypted.size());
    sink.write(head.data(), static_cast<std::streamsize>(head.size()));
    sink.write(reinterpret_cast<const char*>(encrypted.data()),
               static_cast<std::streamsize>(encrypted.size()));
    sink.flush(); // a full disk may show only here
    return !sink.fail();
}

/// `EncryptAndCompress` but for its last log line.
bool PackText(std::string_view text, std::ostream& sink, const auto& getKey)
{
    if (sink.fail()) {
        s_DiagnosticsLogger.Error(L"Could not open streamDev with write access on device.\n");
        return false;
    }
    YmCompressZIP zip;
    if (!zip.Compress(text.data(), text.size())) {
        return false;
    }
    if (zip.GetOutputSize() >= c_uiDeviceStorageSize) {
        s_DiagnosticsLogger.Error(L"Could not write camera ini file. The file is too big: %i Byte.\n",
                                  zip.GetOutputSize());
        return true;
    }
    const std::unique_ptr<CVantaCrypt> cipher = MakeCipher(getKey());
    const Bytes encrypted = cipher != nullptr ? Encrypt(*cipher, zip) : Bytes();
    if (encrypted.empty() || !WriteContainer(sink, text.size(), zip.GetOutputSize(), encrypted)) {
        return false;
    }
    s_DiagnosticsLogger.Info(L"write camera ini File: %i written.\n\n", zip.GetOutputSize());
    return true;
}

/// Reads the encrypted bytes and decrypts them to exactly the compressed ones; none on failure.
Bytes ReadEncrypted(std::istream& source, const Sizes& sizes, const auto& getKey)
{
    Bytes bytes = ReadBytes(source, sizes.encrypted);
    const std::unique_ptr<CVantaCrypt> cipher = MakeCipher(getKey());
    std::size_t size = bytes.size();
    if (cipher == nullptr || !cipher->Decrypt(bytes.data(), size)) {
        return {};
    }
    if (size != sizes.compressed) {
        throw std::runtime_error("the container lies about its compressed size");
    }
    bytes.resize(size);
    return bytes;
}

/// `DecryptAndDecompress` but for its last log line and the catching.
bool UnpackText(std::ostream& text, std::istream& source, const auto& getKey)
{
    if (source.fail()) {
        s_Logger.Error(L"LxCMatrixFrameGrabber::decryptAndDecompress: Could not open streamDev with read "
                       L"access on device.\n");
        return false;
    }
    const int version = ReadBytes(source, 1).front();
    if (version != c_iVersionPlain && version != c_iVersionEncrypted) {
        s_Logger.Error(L"LxCMatrixFrameGrabber::decryptAndDecompress: invalid version number %i.\n", version);
        return false;
    }
    Sizes sizes{};
    sizes.uncompressed = ReadUInt32(source);
    sizes.compressed = ReadUInt32(source);
    if (sizes.uncompressed > c_uiLargestText) {
        throw std::runtime_error("the container claims too long a text");
    }
    Bytes compressed;
    if (version == c_iVersionPlain) {
        compressed = ReadBytes(source, sizes.compressed);
    } else {
        sizes.encrypted = ReadUInt32(source);
        compressed = ReadEncrypted(source, sizes, getKey);
    }
    YmDecompressZIP zip;
    if (!zip.Decompress(compressed.data(), compressed.size(), sizes.uncompressed) ||
        zip.GetOutputBuffer() == nullptr) {
        return false;
    }
    text.write(reinterpret_cast<const char*>(zip.GetOutputBuffer()),
               static_cast<std::streamsize>(zip.GetOutputSize()));
    text.put('\0');
    if (text.fail()) {
        return false;
    }
    s_Logger.Info(L"decrypt ini file: %i Byte read.\n", zip.GetOutputSize());
    return true;
}

/// Whether a serial number names a file and no folder: a device must not choose where it is read and written.
bool IsFileName(const std::string& serialNumber)
{
    const bool plain = serialNumber.find_first_of(std::string_view("/\\\0", 3)) == std::string::npos;
    if (!plain) {
        s_Logger.Error(L"The serial number '%s' of the camera is no file name.\n", serialNumber);
    }
    return plain;
}

} // namespace

bool LxCCCTEncryptionUtils::EncryptAndCompress(std::stringstream& text, std::ostream& sink)
{
    const bool done = PackText(text.view(), sink, mcs_vcKeyBlob);
    if (done) {
        s_DiagnosticsLogger.Info(L"Write ini-file to device was successful");
    } else {
        s_DiagnosticsLogger.Error(L"Write ini-file to device failed");
    }
    return done;
}

bool LxCCCTEncryptionUtils::DecryptAndDecompress(std::stringstream& text, std::istream& source)
{
    bool done = false;
    try {
        done = UnpackText(text, source, mcs_vcKeyBlob);
    } catch (const std::exception& exception) {
        s_Logger.Error(L"LxCMatrixFrameGrabber::decryptAndDecompress: %s\n", exception.what());
    } catch (...) {
        s_Logger.Error(L"Exception decryptAndDecompress\n");
    }
    if (!done) {
        s_Logger.Error(L"Read ini-file failed");
    }
    return done;
}

void LxCCCTEncryptionUtils::GetIniBackupFilenames(std::string& programCopy, std::string& dataCopy,
                                                  LxAFrameGrabber* grabber)
{
    programCopy.clear();
    dataCopy.clear();
    if (grabber == nullptr) {
        return;
    }
    const std::string fileName = "\\" + grabber->GetSerialNumber() + ".dat";
    programCopy = GetAppPathA() + fileName;
    const std::string folder = platform::GetProgramDataDir() + "\\Lumorad";
    std::error_code ignored;
    std::filesystem::create_directories(platform::NativePath(folder), ignored);
    dataCopy = folder + fileName;
}

bool LxCCCTEncryptionUtils::ReadIniFileFromCryptedFile(std::stringstream& text, LxAFrameGrabber* grabber)
{
    if (grabber == nullptr || !IsFileName(grabber->GetSerialNumber())) {
        return false;
    }
    std::string programCopy;
    std::string dataCopy;
    GetIniBackupFilenames(programCopy, dataCopy, grabber);
    return ReadContainerFile(text, {dataCopy, programCopy});
}

bool LxCCCTEncryptionUtils::WriteIniFileToCryptedFile(std::stringstream& text, LxAFrameGrabber* grabber)
{
    if (grabber == nullptr || !IsFileName(grabber->GetSerialNumber())) {
        return false;
    }
    std::string programCopy;
    std::string dataCopy;
    GetIniBackupFilenames(programCopy, dataCopy, grabber);
    std::ofstream file = OpenContainerFile(dataCopy);
    return file.is_open() && WriteContainerFile(text, file);
}

std::optional<std::array<unsigned char, LxCCCTEncryptionUtils::mcs_uiKeySize>>
LxCCCTEncryptionUtils::mcs_vcKeyBlob()
{
    return parameter::LoadOrCreateKey(parameter::GetKeyFilePath());
}

} // namespace LxCV
