#pragma once

#include "simulator/models/LowscanFpgaModel.h"
#include "simulator/models/SpiDeviceModel.h"

#include <memory>

/// The Lowscan FPGA on an SPI link. One write is one request, whose first byte says what it is:
///   0x01        fires a ping
///   0x03        reads the version: 03 00 00 FF FF, answered by 4 bytes
///   0x04        writes a block of 14 registers, each as address (2 bytes) and value (4 bytes), the most
///               significant byte first
///   0x05        reads the analogue converter: 10 bytes, answered by 9
///   0x10, 0x11  reads the ping return packet of channel 0 or 1: one byte more than the packet has
/// A read for more or fewer samples than the packet has gets zeros at the end, or a cut packet. Without
/// firmware every read returns zeros. The interrupt comes once after each ping.
class CLowscanSpiModel final : public CSpiDeviceModel
{
public:
    explicit CLowscanSpiModel(std::shared_ptr<CLowscanFpgaModel> pFpga) : m_pFpga(std::move(pFpga)) {}

    DeviceOutcome_T TakeImage(ByteView_T bytes) override { return m_pFpga->TakeImage(bytes); }
    double SampleInterval() const override { return m_pFpga->SampleInterval(); }

private:
    struct Request_T;
    static const Request_T* FindRequest(ByteView_T bytes);
    void Transfer(ByteView_T bytes, DeviceOutcome_T& outcome) override;
    bool IsPowered() const override { return m_pFpga->IsPowered(); }

    void Ping(ByteView_T request, DeviceOutcome_T& outcome);
    void ReadVersion(ByteView_T request, DeviceOutcome_T& outcome);
    void WriteRegisters(ByteView_T request, DeviceOutcome_T& outcome);
    void ReadAdc(ByteView_T request, DeviceOutcome_T& outcome);
    void ReadPacket(ByteView_T request, DeviceOutcome_T& outcome);

    std::shared_ptr<CLowscanFpgaModel> m_pFpga;
};
