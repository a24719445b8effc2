#include "Utilities/EventCodes.h"
#include "Utilities/OSSLinuxFile.h"
#include "tests/support/TemporaryDirectory.h"

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
TEST(OssFile, OnlyAWriterLocksAndALockedNodeCanStillBeUsed)
{
    const TemporaryDirectory directory;
    const std::string path = directory.Write("node", "abc");
    // Runs in a forked child, which does not inherit record locks.
    const auto useElsewhere = [&path](int expectedCode) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        UINT8 storage[3] = {};
        Buffer_Bytes_T buffer(storage, sizeof(storage));
        int unread = 0;
        COSSLinuxFile file(path.c_str(), O_RDWR, 0);
        EXPECT_EQ(file.GetErrorCode(), expectedCode);
        EXPECT_EQ(file.Poll(POLLIN, 0), 1);
        EXPECT_TRUE(file.Ioctl(FIONREAD, &unread));
        EXPECT_EQ(unread, 3);
        EXPECT_TRUE(file.Read(&buffer));
        EXPECT_TRUE(file.Lseek(0, SEEK_SET));
        EXPECT_TRUE(file.Write(&buffer));
        std::fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    };
    const COSSLinuxFile neighbour(path.c_str(), O_RDWR, 0);
    EXPECT_EXIT(useElsewhere(0), testing::ExitedWithCode(0), "^$");
    const COSSLinuxFile writer(path.c_str(), O_WRONLY, 0);
    EXPECT_EXIT(useElsewhere(c_FileLocked), testing::ExitedWithCode(0),
                "^[0-9]+ COSSLinuxFile::CheckForLock\\(\\) " + path + " locked by " +
                    std::to_string(getpid()) + " for 1\n$");
}

TEST(OssFile, AFileThatCannotBeLockedOrCutIsReported)
{
    COSSLinuxFile reader("/dev/null", O_RDONLY, 0);
    testing::internal::CaptureStdout();
    COSSLinuxFile unlockable("/dev/null", O_PATH, 0);
    EXPECT_EQ(unlockable.GetErrorCode(), c_FileLocked);
    reader.ApplyLock(O_WRONLY);
    EXPECT_EQ(reader.GetErrorCode(), EBADF);
    EXPECT_EQ(reader.Ftruncate(0), EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error in COSSLinuxFile::CheckForLock(F_WRLCK): 9\n"
                                                      "Error in COSSLinuxFile::CheckForLock(F_RDLCK): 9\n"
                                                      "Error in COSSLinuxFile::ApplyLock(1): 9\n"
                                                      "Error in COSSLinuxFile::Ftruncate(): 22\n");
}

TEST(OssFile, RawTransfersReportWhatMoved)
{
    const TemporaryDirectory directory;
    UINT8 storage[8] = {'p', 'i', 'n', 'g'};
    Buffer_Bytes_T buffer(storage, sizeof(storage));
    COSSLinuxFile closed(directory.Path("none").c_str(), O_RDWR, 0);
    EXPECT_FALSE(closed.Ioctl(FIONREAD, nullptr));
    EXPECT_FALSE(closed.Read(&buffer));
    EXPECT_FALSE(closed.WriteStream("x"));
    EXPECT_EQ(closed.GetErrorCode(), ENOENT) << "using a closed file keeps the error code";

    COSSLinuxFile file(directory.Path("new").c_str(), O_RDWR | O_CREAT, 0640);
    EXPECT_TRUE(file.Read(&buffer)) << "an empty file is no failure";
    EXPECT_EQ(buffer.size(), 0U);
    buffer.size(4);
    EXPECT_TRUE(file.Write(&buffer));
    EXPECT_TRUE(file.Lseek(1, SEEK_SET));
    buffer.size(buffer.capacity());
    EXPECT_TRUE(file.Read(&buffer));
    EXPECT_EQ(std::string(storage, storage + buffer.size()), "ing");
    EXPECT_FALSE(file.Ioctl(TIOCEXCL, nullptr));
    EXPECT_EQ(file.GetErrorCode(), -1) << "what ioctl() returned, not errno";
}

/// The number that a destination gets from a text, and the stream's position after it.
template <typename Destination_T, typename... Count_T>
std::pair<Destination_T, long> Scanned(const std::string& text, Count_T... count)
{
    const TemporaryDirectory directory;
    COSSLinuxFile file(directory.Write("text", text).c_str(), O_RDONLY, 0);
    Destination_T value = 1;
    EXPECT_TRUE(file.ReadStream(&value, count...));
    return {value, file.Ftell()};
}

template <typename Destination_T, typename Value_T>
std::pair<Destination_T, long> Number(Value_T value, long position)
{
    return {static_cast<Destination_T>(value), position};
}

TEST(OssFile, EveryDestinationHasItsOwnFormat)
{
    // A signed and an unsigned format make different numbers of this, and only some take the blank after it.
    const std::string wide = "9223372036854775808 1";
    const auto asSigned = static_cast<int>(std::strtol(wide.c_str(), nullptr, 10));
    const auto asUnsigned = static_cast<int>(std::strtoul(wide.c_str(), nullptr, 10));
    EXPECT_EQ(Scanned<UINT8>(wide), Number<UINT8>(asUnsigned, 20));
    EXPECT_EQ(Scanned<UINT16>(wide), Number<UINT16>(asUnsigned, 20));
    EXPECT_EQ(Scanned<UINT32>(wide), Number<UINT32>(asUnsigned, 20));
    EXPECT_EQ(Scanned<unsigned long>(wide), Number<unsigned long>(asUnsigned, 20));
    EXPECT_EQ(Scanned<int>(wide), Number<int>(asSigned, 20));
    EXPECT_EQ(Scanned<int>(wide, 1U), Number<int>(asSigned, 20));
    EXPECT_EQ(Scanned<short>(wide), Number<short>(asSigned, 19));
    EXPECT_EQ(Scanned<short>(wide, 1U), Number<short>(asSigned, 20));
    EXPECT_EQ(Scanned<char>(wide), Number<char>(asSigned, 20));
    EXPECT_EQ(Scanned<bool>(wide), Number<bool>(asSigned, 19));
    EXPECT_EQ(Scanned<bool>("0 1"), Number<bool>(0, 1));
    EXPECT_EQ(Scanned<int>("010"), Number<int>(10, 3)) << "decimal";
    EXPECT_EQ(Scanned<short>("010"), Number<short>(10, 3)) << "decimal";
    EXPECT_EQ(Scanned<unsigned long>("3000000000"), Number<unsigned long>(-1294967296, 10)) << "through int";
    // A float's four bytes become the first four of a double.
    EXPECT_EQ(Scanned<double>("0.5 1"), Number<double>(std::bit_cast<double>(UINT64_C(0x3F000000)), 3));
    EXPECT_EQ(Scanned<float>("0.5 1"), Number<float>(0, 3));
    EXPECT_EQ(Scanned<float>("0.5 1", 1U), Number<float>(0, 4));
}

TEST(OssFile, ATextIsReadNumberByNumber)
{
    const TemporaryDirectory directory;
    COSSLinuxFile unreadable(directory.Path().c_str(), O_RDONLY, 0);
    COSSLinuxFile file(directory.Write("text", "12\n-1 2 word").c_str(), O_RDONLY, 0);
    int wholes[2] = {};
    int next = 1;
    EXPECT_TRUE(file.ReadStream(&next));
    EXPECT_EQ(next, 12);
    EXPECT_TRUE(file.ReadStream(wholes, 2));
    EXPECT_THAT(wholes, testing::ElementsAre(-1, 2));
    EXPECT_TRUE(file.ReadStream(&next));
    EXPECT_EQ(next, 0) << "a word counts as 0";
    char word[5] = {};
    EXPECT_TRUE(file.ReadStream(word, "%4s"));
    EXPECT_STREQ(word, "word");
    EXPECT_FALSE(file.ReadStream(word, "%4s")) << "the end of the text";
    EXPECT_TRUE(file.ReadStream(&next));
    EXPECT_EQ(next, 0) << "the end of the text changes nothing";
    EXPECT_TRUE(file.Fseek(0, SEEK_SET));
    EXPECT_TRUE(file.ReadStream(&next));
    EXPECT_EQ(next, 12);
    EXPECT_FALSE(unreadable.ReadStream(wholes, 2));
    EXPECT_EQ(unreadable.GetErrorCode(), EISDIR);
}

TEST(OssFile, ErrorNumbersHaveTheirNames)
{
    EXPECT_STREQ(ErrnoName(EPERM), "EPERM");
    EXPECT_STREQ(ErrnoName(EWOULDBLOCK), "EAGAIN");
    EXPECT_STREQ(ErrnoName(EDEADLOCK), "EDEADLK");
    EXPECT_STREQ(ErrnoName(ENOTRECOVERABLE), "ENOTRECOVERABLE");
    for (const int nameless : {c_FileLocked, 0, 41, ENOTRECOVERABLE + 1}) {
        EXPECT_EQ(ErrnoName(nameless), nullptr) << nameless;
    }
}

TEST(OssFile, MultiPollReturnsTheFirstReadyMember)
{
    COSSLinuxFile file("/dev/null", O_RDONLY, 0);
    const int ready = file.GetFileDescriptor();
    PollMembers_T members = {{ready, 0}, {ready, 0}, {ready, POLLIN}};
    EXPECT_EQ(file.MultiPoll(&members, 1000), 3);
    members.pop_back();
    EXPECT_EQ(file.MultiPoll(&members, 0), 0);
    // Two lines that hung up: no event that was asked for, so the count of poll() is returned.
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    close(ends[1]);
    members = {{ends[0], POLLIN}, {ends[0], POLLIN}};
    EXPECT_EQ(file.MultiPoll(&members, 0), 2);
    members.push_back({ready, POLLIN});
    EXPECT_EQ(file.MultiPoll(&members, 0), 3);
    close(ends[0]);
}

TEST(OssFile, APollThatFailsReturnsItsErrorCode)
{
    COSSLinuxFile file("/dev/null", O_RDONLY, 0), other("/dev/null", O_RDONLY, 0);
    PollMembers_T members = {{file.GetFileDescriptor(), POLLIN}};
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max}; // poll() then refuses even one descriptor
    setrlimit(RLIMIT_NOFILE, &none);
    const int one = file.Poll(POLLIN, 0), several = other.MultiPoll(&members, 0);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(one, -1);
    EXPECT_EQ(file.GetErrorCode(), EINVAL);
    EXPECT_EQ(several, -1);
    EXPECT_EQ(other.GetErrorCode(), EINVAL);
}
} // namespace
