// A camera with nothing but a serial number and a memory for its settings file.
#pragma once

#include "lxaframegrabber.h"
#include "lxccctencryptionutils.h"

#include <cstddef>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace LxCV::TestSupport {

/// Packs its file as the drivers of cameras do, and notes each operation on it.
class CStoreGrabber : public LxAFrameGrabber
{
public:
    /// Bytes of the largest container: its head, 65522 compressed bytes, nonce and tag of the cipher.
    static constexpr std::size_t sc_uiMemorySize = 13 + 65522 + 28;

    explicit CStoreGrabber(std::string serialNumber = "123")
        : LxAFrameGrabber("store", true), m_sSerialNumber(std::move(serialNumber))
    {}

    EReturnCode Init(const std::vector<std::string>&) override { return eRC_OK; }
    CCTImage* AcquireImageRaw(ELedType) override { return nullptr; }
    using LxAFrameGrabber::ReEnqueueRawBuffers;
    void ReEnqueueRawBuffers(std::vector<CCTImage*>&) override {}
    EReturnCode ChangePresetShutterAsynchron(EPresetShutter) override { return eRC_OK; }

    std::string GetSerialNumber() const override { return m_sSerialNumber; }

    bool IsThereAnIniFileOnDevice() override
    {
        m_sOperations += "asked ";
        return !m_sMemory.empty();
    }
    bool ReadIniFileFromDevice(std::stringstream& text) override
    {
        m_sOperations += "read ";
        std::istringstream source(m_sMemory);
        return LxCCCTEncryptionUtils::DecryptAndDecompress(text, source);
    }
    bool WriteIniFileToDevice(std::stringstream& text) override
    {
        m_sOperations += "written ";
        std::ostringstream sink;
        if (m_bBroken || !LxCCCTEncryptionUtils::EncryptAndCompress(text, sink) ||
            sink.view().size() > sc_uiMemorySize) {
            return false;
        }
        if (!sink.view().empty()) {
            m_sMemory = sink.str();
        }
        return true;
    }

    std::string m_sSerialNumber;
    std::string m_sMemory; ///< a container; empty where there is no file
    bool m_bBroken = false;
    std::string m_sOperations;
};

} // namespace LxCV::TestSupport
