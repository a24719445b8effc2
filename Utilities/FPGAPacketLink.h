#pragma once

#include "Utilities/Endian.h"
#include "Utilities/FPGALink.h"
#include "Utilities/FPGATypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Address of an FPGA register, or of the first byte of a table.
using CorFPGAAddress_T = std::uint16_t;

/// How many packets carry a register that is wider than a byte.
enum class Packets {
    One,       ///< all bytes in one packet
    OnePerByte ///< each byte in a packet of its own, at consecutive addresses from the low byte up
};

/// When a written register is sent.
enum class Delivery {
    Queued, ///< with the next transmit
    Sent    ///< at once, with everything queued before it
};

/// One row of a register map; the constant's name is the register's. Values are little-endian on the wire.
struct RegisterRow_T {
    CorFPGAAddress_T address;
    std::size_t width = 1; ///< bytes, 1 to 4; without meaning for a table
    Packets packets = Packets::One;
    bool block = false; ///< the packets have the block flag; true for every table
    Delivery delivery = Delivery::Queued;
};

/// Registers that every FPGA on a packet link has.
namespace PacketRegisters
{
inline constexpr RegisterRow_T c_Command{.address = 0};
inline constexpr RegisterRow_T c_Status{.address = 1};
inline constexpr RegisterRow_T c_Version{.address = 2};
inline constexpr RegisterRow_T c_BoostLevel{.address = 8};
inline constexpr RegisterRow_T c_Sync{.address = 96, .delivery = Delivery::Sent};
} // namespace PacketRegisters

/// Header of a command packet on the wire: sync word, address, flags, payload length minus one.
using CorFPGADataHeader_T = std::array<std::uint8_t, 7>;

/// The packet protocol of the SPI-linked FPGAs: packets are queued into transfers, one device write each, and
/// a read is one packet that clocks its own reply out. A transport derives from it and adds its registers.
/// The device stays open until the process ends, even if the object is destroyed.
class CFPGAPacketLink : public CFPGALink
{
public:
    /// Waits up to a second for a reply of the buffer's size and its checksum. If none comes, the buffer is
    /// unchanged and the result is 0. A wrong checksum is reported, and the data is used. Returns 0 or the
    /// file's error code.
    TSQEventCode_T ReceiveData(Buffer_Bytes_T* Buffer);

    /// Queues the buffer as one packet or, if it is too long for one transfer, as several with increasing
    /// addresses. A read queues a zero for each byte of the buffer.
    /// @param block           the packet belongs to a table
    /// @param singleTransfer  never split, never start a new transfer
    TSQEventCode_T CreateCommandPacket(Buffer_Bytes_T* Data, unsigned short address, bool read, bool block,
                                       bool singleTransfer);
    /// Queues the buffer as exactly one packet.
    TSQEventCode_T PopulateCommandPacket(Buffer_Bytes_T* Data, unsigned short address, bool read, bool block,
                                         bool singleTransfer);
    /// Appends header, payload and checksum to the current transfer. Returns 0.
    TSQEventCode_T AddToTransmitBuffer(Buffer_Bytes_T* Data, CorFPGADataHeader_T* Header,
                                       bool singleTransfer);
    /// Closes the current transfer; the next packet starts another.
    void TransferToDataToGoArray() { m_DataToGo.push_back(std::exchange(m_TransmitBuffer, {})); }

    /// Writes everything queued, in order, and empties the queue. A failed write does not stop the next one.
    /// Returns the bytes that went out.
    unsigned int TransmitDataToFPGA();
    /// Transmits. Returns 0, or -109 when nothing went out: the queue was empty or every write failed.
    TSQEventCode_T UpdateFPGA() { return TransmitNow(c_Success); }
    /// Sends the current transfer, which ends in a read, and receives the reply into the buffer. Returns the
    /// bytes of the request that went out; closed transfers stay queued.
    unsigned int ReceiveDataFromFPGA(Buffer_Bytes_T* Buffer);

    /// Waits until the FPGA interrupts. Returns 1, or 0 when it did not.
    TSQEventCode_T WaitOnInterrupt() { return WaitForInterrupt(); }
    /// Reads or writes registers at consecutive addresses. Returns 0, or -109 when nothing went out.
    TSQEventCode_T TestFPGAAccess(Buffer_Bytes_T* Buffer, unsigned short address, bool read, bool block);

    /// Queues the register.
    TSQEventCode_T SetBoostLevel(unsigned char Level);
    /// Sends. Returns 0, or -109 when nothing went out.
    TSQEventCode_T SetSyncRegister(bFpgaPSUSyncRegister Sync);

    /// A flag for callers that share the transport. The transport itself ignores it.
    bool IsSpiBusy() const { return m_bBusy; }
    void SetBusy() { m_bBusy = true; }
    void SetFree() { m_bBusy = false; }

protected:
    /// @param ClassName  origin of the transport's events; must live as long as the object
    /// @param pFactory   not owned
    CFPGAPacketLink(const char* ClassName, const std::string& SerialDevicePath, IOSSFactory* pFactory);

    /// As CFPGALink::OpenDevice(), and keeps the device open until the process ends.
    void OpenDevice();

    /// Writes a register as its row says. Returns 0, or -109 when it should have gone out and did not.
    TSQEventCode_T WriteRegister(const RegisterRow_T& row, std::uint32_t value);
    /// Writes a number of samples to receive, which registers count in units of 16.
    TSQEventCode_T WriteSampleCount(const RegisterRow_T& row, FpgaAdcSamples_T samples);
    /// Queues a table of pairs from its first address on, padded with zeros. Returns 0.
    /// @param entries  the number of entries with the padding, at least that of the table
    template <class Entry>
    TSQEventCode_T WriteTable(const RegisterRow_T& row, const std::vector<Entry>& table, std::size_t entries);
    /// Reads a register's bytes; if the device does not answer, they are unchanged. Returns 0, or -109 when
    /// the request did not go out.
    TSQEventCode_T ReadRegister(const RegisterRow_T& row, std::uint8_t* pBytes);
    /// Reads the firmware version; it is unchanged when the request did not go out.
    TSQEventCode_T ReadVersion(SWVersion_T* pVersion);
    /// Transmits what was queued with the given result. Returns that result, or -109 when nothing went out.
    TSQEventCode_T TransmitNow(TSQEventCode_T queued);
    /// Sends the current transfer, queued with the given result, and receives the reply to it. Returns that
    /// result, or -109 when nothing went out.
    TSQEventCode_T ReceiveNow(TSQEventCode_T queued, Buffer_Bytes_T* Buffer);
    /// Sends the current transfer and empties it. Returns its length, 0 when it is empty or failed.
    unsigned int SendCurrentTransfer() { return SendTransfer(m_TransmitBuffer); }

    /// Fills the buffer from a ping FIFO. Returns 0 or the file's error code; the buffer's size is then what
    /// arrived.
    TSQEventCode_T ReadPingFifo(const RegisterRow_T& fifo, int interruptMode, Buffer_Bytes_T* Buffer);

    /// Lower-case hexadecimal digits without prefix.
    static std::string HexText(unsigned int value);

private:
    unsigned int SendTransfer(std::vector<std::uint8_t>& transfer);

    std::vector<std::uint8_t> m_TransmitBuffer;
    std::vector<std::vector<std::uint8_t>> m_DataToGo;
    bool m_bBusy = false;
};

template <class Entry>
TSQEventCode_T CFPGAPacketLink::WriteTable(const RegisterRow_T& row, const std::vector<Entry>& table,
                                           std::size_t entries)
{
    constexpr std::size_t width = sizeof(Entry::first);
    static_assert(sizeof(Entry::second) == width && sizeof(Entry) == 2 * width);
    std::vector<std::uint8_t> image(entries * sizeof(Entry));
    std::uint8_t* pTo = image.data();
    for (const Entry& entry : table) {
        PutLittleEndian(pTo, width, static_cast<std::uint32_t>(entry.first));
        PutLittleEndian(pTo + width, width, static_cast<std::uint32_t>(entry.second));
        pTo += sizeof(Entry);
    }
    Buffer_Bytes_T data(image.data(), image.size());
    return CreateCommandPacket(&data, row.address, false, row.block, false);
}
