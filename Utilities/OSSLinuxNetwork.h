#pragma once

#include "Utilities/IOSSNetwork.h"

#include <netinet/in.h>
#include <string>
#include <vector>

/// One IPv4 socket on Linux.
class COSSLinuxNetwork : public IOSSNetwork
{
public:
    /// Opens the socket, as socket() takes the first three, and looks up the unit's own address.
    /// GetErrorCode() says whether that failed; every later use of a socket that did not open, its
    /// destruction included, is an assertion.
    COSSLinuxNetwork(int domain, int type, int protocol, NetworkInterface_T Interface);
    ~COSSLinuxNetwork() override;
    COSSLinuxNetwork(const COSSLinuxNetwork&) = delete;
    COSSLinuxNetwork& operator=(const COSSLinuxNetwork&) = delete;

    bool SetSockOpt(int level, int name, const void* value, std::size_t length) override;
    bool EnableTxMulticast() override;
    bool Send(const Buffer_Bytes_T* Buffer, IP_Address_str_T Address, IP_Port_T Port) override;
    bool GetSystemIPAddress(AUINT32* pIpAddr) override;
    bool Bind(IP_Port_T Port) override;
    bool BindToAddress(IP_Address_str_T Address, IP_Port_T Port) override;
    bool Receive(Buffer_Bytes_T* Buffer) override;
    bool SetSocketFlags(int flags) override;
    bool ClearSocketFlags(int flags) override;
    int GetErrorCode() const override { return m_ErrorCode; }
    int GetFileDescriptor() const override { return m_Socket; }

    /// The unit's own address among the host's dotted addresses: the last one of this kind of network; empty
    /// when there is none.
    static std::string ChooseAddress(NetworkInterface_T Interface, const std::vector<std::string>& Addresses);

private:
    void Open(int domain, int type, int protocol);
    void Close();
    void FindSystemAddress(NetworkInterface_T Interface);
    bool BindTo(in_addr_t Address, IP_Port_T Port);
    bool SetFlags(int Flags);
    /// Keeps errno as the error code when a call has failed. Returns whether the error code is 0.
    bool Record(bool Succeeded);
    /// The first step of every operation on the socket.
    void Begin();

    int m_Socket = -1;
    int m_ErrorCode = 0;
    sockaddr_in m_Address = {}; // the bound address, later the sender of the last datagram
    AUINT32 m_SystemIPAddress = 0;
};
