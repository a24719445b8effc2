#include "Utilities/OSSLinuxNetwork.h"

#include <arpa/inet.h>
#include <cassert>
#include <cerrno>
#include <fcntl.h>
#include <ifaddrs.h>
#include <span>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
// Each kind of network has consecutive prefixes of this list.
constexpr std::string_view c_Prefixes[] = {"127.", "10.", "192.", "172."};
constexpr struct {
    std::size_t first;
    std::size_t count;
} c_PrefixesOfInterface[] = {{1, 1}, {0, 1}, {0, 1}, {0, 4}};

sockaddr_in SocketAddress(in_addr_t Address, IP_Port_T Port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(Port);
    address.sin_addr.s_addr = Address;
    return address;
}

/// The socket calls' view of an address.
sockaddr* Generic(sockaddr_in& Address) { return reinterpret_cast<sockaddr*>(&Address); }

/// The IPv4 addresses of one getifaddrs() list, dotted, in its order.
std::vector<std::string> DottedAddresses(const ifaddrs* pEntry)
{
    std::vector<std::string> dotted;
    for (; pEntry != nullptr; pEntry = pEntry->ifa_next) {
        if (pEntry->ifa_addr == nullptr || pEntry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(pEntry->ifa_addr)->sin_addr, text,
                  sizeof(text));
        dotted.emplace_back(text);
    }
    return dotted;
}
} // namespace

COSSLinuxNetwork::COSSLinuxNetwork(int domain, int type, int protocol, NetworkInterface_T Interface)
{
    Open(domain, type, protocol);
    FindSystemAddress(Interface);
}

// Part of the contract: a socket that did not open is an assertion here.
COSSLinuxNetwork::~COSSLinuxNetwork() { Close(); }

void COSSLinuxNetwork::Open(int domain, int type, int protocol)
{
    assert((m_Socket == -1) &&
           "Socket should be closed before (re-)opening a socket - this is probably a resource leak!");
    m_Socket = socket(domain, type, protocol);
    Record(m_Socket != -1);
}

void COSSLinuxNetwork::Close()
{
    assert(m_Socket != -1);
    close(m_Socket);
}

std::string COSSLinuxNetwork::ChooseAddress(NetworkInterface_T Interface,
                                            const std::vector<std::string>& Addresses)
{
    const auto& [first, count] = c_PrefixesOfInterface[Interface];
    const auto prefixes = std::span(c_Prefixes).subspan(first, count);
    std::string chosen;
    for (const std::string& address : Addresses) {
        for (const std::string_view prefix : prefixes) {
            if (address.starts_with(prefix)) {
                chosen = address;
            }
        }
    }
    return chosen;
}

void COSSLinuxNetwork::FindSystemAddress(NetworkInterface_T Interface)
{
    ifaddrs* pList = nullptr;
    if (getifaddrs(&pList) == -1) {
        Record(false);
        return;
    }
    const std::string chosen = ChooseAddress(Interface, DottedAddresses(pList));
    freeifaddrs(pList);
    in_addr address = {};
    if (inet_aton(chosen.c_str(), &address) != 0) {
        m_SystemIPAddress = address.s_addr;
    }
}

bool COSSLinuxNetwork::Record(bool Succeeded)
{
    if (!Succeeded) {
        m_ErrorCode = errno;
    }
    return m_ErrorCode == 0;
}

void COSSLinuxNetwork::Begin()
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
}

bool COSSLinuxNetwork::SetSockOpt(int level, int name, const void* value, std::size_t length)
{
    Begin();
    return Record(setsockopt(m_Socket, level, name, value, static_cast<socklen_t>(length)) != -1);
}

bool COSSLinuxNetwork::EnableTxMulticast()
{
    Begin();
    // Part of the contract: the option is set twice, and either failure counts.
    for (int round = 0; round < 2; ++round) {
        Record(setsockopt(m_Socket, IPPROTO_IP, IP_MULTICAST_IF, &m_SystemIPAddress,
                          sizeof(m_SystemIPAddress)) != -1);
    }
    return m_ErrorCode == 0;
}

bool COSSLinuxNetwork::Send(const Buffer_Bytes_T* Buffer, IP_Address_str_T Address, IP_Port_T Port)
{
    Begin();
    assert(Buffer);
    assert(Address);
    sockaddr_in to = SocketAddress(inet_addr(Address), Port);
    const ssize_t count = sendto(m_Socket, Buffer->data(), Buffer->size(), 0, Generic(to), sizeof(to));
    if (Record(count != -1)) {
        Buffer->size(static_cast<std::size_t>(count));
    }
    return m_ErrorCode == 0;
}

bool COSSLinuxNetwork::GetSystemIPAddress(AUINT32* pIpAddr)
{
    assert(pIpAddr);
    *pIpAddr = m_SystemIPAddress;
    return m_SystemIPAddress != 0;
}

bool COSSLinuxNetwork::BindTo(in_addr_t Address, IP_Port_T Port)
{
    m_Address = SocketAddress(Address, Port);
    return Record(bind(m_Socket, Generic(m_Address), sizeof(m_Address)) != -1);
}

bool COSSLinuxNetwork::Bind(IP_Port_T Port)
{
    Begin();
    return BindTo(htonl(INADDR_ANY), Port);
}

bool COSSLinuxNetwork::BindToAddress(IP_Address_str_T Address, IP_Port_T Port)
{
    Begin();
    assert(Address);
    return BindTo(inet_addr(Address), Port);
}

bool COSSLinuxNetwork::Receive(Buffer_Bytes_T* Buffer)
{
    Begin();
    assert(Buffer);
    socklen_t length = sizeof(m_Address);
    const ssize_t count = recvfrom(m_Socket, Buffer->data(), Buffer->size(), 0, Generic(m_Address), &length);
    const bool received = Record(count != -1);
    Buffer->size(received ? static_cast<std::size_t>(count) : 0);
    return received;
}

bool COSSLinuxNetwork::SetFlags(int Flags) { return Record(fcntl(m_Socket, F_SETFL, Flags) != -1); }

bool COSSLinuxNetwork::SetSocketFlags(int flags)
{
    Begin();
    return SetFlags(fcntl(m_Socket, F_GETFL) | flags);
}

bool COSSLinuxNetwork::ClearSocketFlags(int flags)
{
    Begin();
    return SetFlags(fcntl(m_Socket, F_GETFL) & ~flags);
}
