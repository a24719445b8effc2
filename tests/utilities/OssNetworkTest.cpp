#include "Utilities/OSSLinuxNetwork.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

namespace
{
TEST(OssNetwork, ADatagramArrivesAndAnEmptySocketIsAFailure)
{
    COSSLinuxNetwork socket(AF_INET, SOCK_DGRAM, 0, NETWORK_LOOPBACK);
    ASSERT_TRUE(socket.BindToAddress("127.0.0.1", 0));
    ASSERT_TRUE(socket.SetSocketFlags(O_NONBLOCK));
    sockaddr_in bound = {};
    socklen_t length = sizeof(bound);
    getsockname(socket.GetFileDescriptor(), reinterpret_cast<sockaddr*>(&bound), &length);

    std::uint8_t out[] = {'e', 'c', 'h', 'o'}, in[8] = {};
    const Buffer_Bytes_T sent(out, sizeof(out));
    Buffer_Bytes_T received(in, sizeof(in));
    EXPECT_TRUE(socket.Send(&sent, "127.0.0.1", ntohs(bound.sin_port)));
    EXPECT_TRUE(socket.Receive(&received));
    EXPECT_EQ(std::string(in, in + received.size()), "echo");
    EXPECT_FALSE(socket.Receive(&received));
    EXPECT_EQ(received.size(), 0U);
    EXPECT_EQ(socket.GetErrorCode(), EAGAIN);
    EXPECT_TRUE(socket.ClearSocketFlags(O_NONBLOCK));
    EXPECT_EQ(fcntl(socket.GetFileDescriptor(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR);
}

TEST(OssNetwork, TheUnitsAddressIsTheLastOfItsKind)
{
    const std::vector<std::string> host = {"10.1.2.3", "10.0.0.2", "127.0.0.1", "192.168.0.5", "110.0.0.1"};
    const char* const chosen[] = {"10.0.0.2", "127.0.0.1", "127.0.0.1", "192.168.0.5"};
    for (const auto kind : {NETWORK_TEN, NETWORK_LOOPBACK, NETWORK_LOOPBACK_ALIAS, NETWORK_ANY})
        EXPECT_EQ(COSSLinuxNetwork::ChooseAddress(kind, host), chosen[kind]) << kind;
}
} // namespace
