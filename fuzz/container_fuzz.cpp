// Unpacks any bytes as a container and any bytes under a valid cipher, loads them from the memory of a camera, and packs
// and unpacks any text, also through that memory.
#include "lxccctencryptionutils.h"
#include "lxccctserializercamera.h"
#include "orx/logging/logger.h"
#include "orx/parameter/vantacrypt.h"
#include "tests/lxcvlib/storegrabber.h"
#include "tests/support/temporaryfolder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

const std::string kKey(32, 'k'); // the key of the containers in the corpus

constexpr std::size_t kSizesLength = 8;

/// Lets the library find the key for as long as the process runs.
class CKeyFile
{
public:
    CKeyFile()
    {
        TestSupport::WriteFile(m_Folder / "key", kKey);
        setenv("LXCV_KEY_FILE", (m_Folder / "key").c_str(), 1);
    }

private:
    TestSupport::CTemporaryFolder m_Folder;
};

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// The text of the container; a refused one must leave the text empty.
std::string Unpack(const std::string& container)
{
    std::stringstream text;
    std::istringstream source(container);
    const bool done = LxCV::LxCCCTEncryptionUtils::DecryptAndDecompress(text, source);
    Require(done == !text.view().empty());
    return text.str();
}

/// Loads a container from the memory of a camera and looks for a section.
void LoadFromDevice(const std::string& container)
{
    LxCV::TestSupport::CStoreGrabber grabber;
    grabber.m_sMemory = container;
    LxCV::LxCCCTSerializerCamera serializer;
    if (serializer.Init(&grabber, false)) {
        serializer.FindExtractSection("::A");
    }
    Require(serializer.Exit());
    Require(grabber.m_sMemory == container);
}

/// Any text that fits loads from the memory of a camera as it was stored.
void StoreOnDevice(const std::string& bytes)
{
    LxCV::TestSupport::CStoreGrabber grabber;
    LxCV::LxCCCTSerializerCamera storing;
    Require(storing.Init(&grabber, true));
    std::stringstream text(bytes);
    storing.ReadFromStringStream(text);
    Require(storing.Exit());
    if (!grabber.m_sMemory.empty()) {
        LxCV::LxCCCTSerializerCamera loading;
        loading.Init(&grabber, false); // false for comments alone
        Require(loading.HasSameData(storing));
    }
}

/// A container of version 2 with the given uncompressed and compressed size and content.
std::string Encrypted(const std::string& sizes, const std::string& content)
{
    const auto cipher = CVantaCrypt::GetImplementation(ECryptAlg::eAesGcm, 256);
    const auto bytesOf = [](const std::string& text) {
        return reinterpret_cast<const unsigned char*>(text.data());
    };
    Require(cipher->SetKey(bytesOf(kKey), kKey.size()));
    std::size_t size = 0;
    Require(cipher->Encrypt(bytesOf(content), content.size(), nullptr, size));
    std::vector<unsigned char> encrypted(size);
    Require(cipher->Encrypt(bytesOf(content), content.size(), encrypted.data(), size));
    std::string container = "\x02" + sizes;
    for (int shift = 0; shift < 32; shift += 8) {
        container.push_back(static_cast<char>((size >> shift) & 0xFF));
    }
    return container.append(encrypted.begin(), encrypted.end());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const CKeyFile keyFile;
    const Logging::CCapture capture;
    const std::string bytes(data, data + size);
    Unpack(bytes);
    LoadFromDevice(bytes);
    if (size >= kSizesLength) {
        const std::string encrypted = Encrypted(bytes.substr(0, kSizesLength), bytes.substr(kSizesLength));
        Unpack(encrypted);
        LoadFromDevice(encrypted);
    }
    StoreOnDevice(bytes);
    std::stringstream text(bytes);
    std::ostringstream sink;
    Require(LxCV::LxCCCTEncryptionUtils::EncryptAndCompress(text, sink));
    Require(sink.view().empty() || Unpack(sink.str()) == bytes + '\0');
    return 0;
}
