#pragma once

#include "simulator/models/Echo.h"
#include "simulator/models/FpgaFirmware.h"
#include "simulator/models/PacketProtocol.h"
#include "simulator/models/SpiDeviceModel.h"

#include <array>
#include <map>

/// A ping data FIFO, with its status.
class CPacketFifo
{
public:
    /// Replaces the data by that of a ping. The status shows if unread data was lost.
    void Load(Bytes_T data);

    /// The next count bytes; zeros after the last one.
    Bytes_T Take(std::size_t count);

    /// Bytes that were not read yet.
    std::size_t Left() const { return m_Data.size() - m_Taken; }

    /// Bit 0: more was read than there was; bit 1: data is left; bit 2: empty; bit 3: a ping replaced unread
    /// data.
    std::uint8_t Status() const;

private:
    Bytes_T m_Data;
    std::size_t m_Taken = 0;
    std::uint8_t m_Errors = 0; ///< bits of the status
};

/// A sounder FPGA that is driven by command packets, with its register file, tables and FIFOs.
///
/// Between the requests start and end ping read a write is filled from the FIFO that the start names. Without
/// power nothing answers and ping reads return zeros. Without firmware packets are still decoded and checked
/// with the register map, but writes have no effect and every read returns zeros. A new image or a reset
/// empties registers, tables and FIFOs.
///
/// The FIFO status is 4 after everything was read exactly (CPacketFifo names the other values); its error
/// bits stay until 2 is written to FIFO control, which clears the FIFO.
class CPacketFpgaModel : public CSpiDeviceModel
{
public:
    DeviceOutcome_T TakeImage(ByteView_T bytes) final;
    double SampleInterval() const final { return m_Echo.Interval(); }

    /// The contents of registers or tables from an address on, without those of FIFOs. The view lasts until
    /// the next operation.
    ByteView_T Registers(std::uint16_t address, std::size_t count) const;
    ByteView_T Tables(std::uint16_t address, std::size_t count) const;

protected:
    /// @param map               has a FIFO at each register of the access Stream
    /// @param hasInterruptMode  word 2 of a ping-read descriptor is a mode, else 0
    CPacketFpgaModel(const FpgaSetup_T& setup, const CPacketRegisterMap& map, bool hasInterruptMode);

    /// Sets a register that the program can only read, such as status, transducer identification or analogue
    /// readings. A reset does not change it.
    void SetInput(std::uint16_t address, std::uint32_t value);

    /// Carries out a command; returns what it did, for the trace.
    virtual std::string Command(std::uint8_t command) = 0;
    /// Called before a register is read; updates registers whose values change.
    virtual void BeforeRead(std::uint16_t) {}

    /// The value of neighbouring registers.
    std::uint32_t Value(std::uint16_t address, std::size_t width) const;
    /// The factor of the frequencies that this unit transmits.
    double FrequencyFactor() const { return m_Echo.Unit().frequency; }
    /// Pings, and fills the FIFO at an address with the samples. Returns what it did, for the trace.
    std::string FirePing(std::uint16_t fifo, const EchoSettings_T& settings);

private:
    void Transfer(ByteView_T bytes, DeviceOutcome_T& outcome) final;
    bool IsPowered() const final { return m_Firmware.IsPowered(); }
    void StartPingRead(ByteView_T argument, DeviceOutcome_T& outcome) final;
    void EndPingRead(ByteView_T argument, DeviceOutcome_T& outcome) final;

    void Fill(std::size_t count, DeviceOutcome_T& outcome);
    void Perform(const Packet_T& packet, DeviceOutcome_T& outcome);
    void Answer(const Packet_T& packet, const PacketRegister_T& row, DeviceOutcome_T& outcome);
    std::string Store(const Packet_T& packet);
    void Reset();
    Bytes_T TakeFifo(std::uint16_t address, std::size_t count, DeviceOutcome_T& outcome);
    /// The FIFO that has its control or status here; null when there is none.
    CPacketFifo* FifoWith(std::uint16_t offset, const Packet_T& packet);

    const CPacketRegisterMap& m_Map;
    const bool m_HasInterruptMode;
    CFpgaFirmware m_Firmware;
    CEcho m_Echo;
    std::map<std::uint16_t, std::uint32_t> m_Inputs = {};
    std::array<Bytes_T, 2> m_Memory = {}; ///< by address: registers; what is written with the block flag
    std::map<std::uint16_t, CPacketFifo> m_Fifos = {}; ///< by the address of their data
    std::optional<std::uint16_t> m_PingRead = {};      ///< the FIFO that is being read
};
