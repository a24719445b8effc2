#pragma once

#include "Utilities/ByteBuffer.h"

#include <cstddef>
#include <cstdint>

using AUINT32 = std::uint32_t;
using IP_Address_str_T = const char*; ///< dotted IPv4 text
using IP_Port_T = std::uint16_t;      ///< port in host byte order

/// Which of the unit's own addresses count as its address: those that begin with "10.", with "127.", or with
/// any of "127.", "10.", "192." and "172.". Value 2 behaves as 1.
enum NetworkInterface_T {
    NETWORK_TEN = 0,
    NETWORK_LOOPBACK = 1,
    NETWORK_LOOPBACK_ALIAS = 2,
    NETWORK_ANY = 3
};

/// One datagram socket. Except for the last two, operations return true exactly when the error code is 0
/// afterwards. Using a socket that failed to open is an assertion.
class IOSSNetwork
{
public:
    virtual ~IOSSNetwork() = default;

    virtual bool SetSockOpt(int level, int name, const void* value, std::size_t length) = 0;
    /// Multicast goes out on the unit's own address.
    virtual bool EnableTxMulticast() = 0;
    /// Sends the buffer's current size; a short send sets that size to the count sent.
    virtual bool Send(const Buffer_Bytes_T* Buffer, IP_Address_str_T Address, IP_Port_T Port) = 0;
    /// The unit's own address in network byte order; false and 0 when none matched.
    virtual bool GetSystemIPAddress(AUINT32* pIpAddr) = 0;
    virtual bool Bind(IP_Port_T Port) = 0;
    virtual bool BindToAddress(IP_Address_str_T Address, IP_Port_T Port) = 0;
    /// Receives at most the buffer's current size and sets that size to the count, 0 on failure.
    virtual bool Receive(Buffer_Bytes_T* Buffer) = 0;
    /// Adds or removes file status flags (fcntl F_SETFL).
    virtual bool SetSocketFlags(int flags) = 0;
    virtual bool ClearSocketFlags(int flags) = 0;

    virtual int GetErrorCode() const = 0;
    virtual int GetFileDescriptor() const = 0;
};
