#include "Utilities/OSSLinuxFactory.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
struct OssFactory : testing::Test {
    std::string At(const char* Name) const { return directory.Path(Name); }
    const TemporaryDirectory directory;
    COSSLinuxFactory factory;
};

TEST_F(OssFactory, ShellCommandsCopyMoveLinkAndRemove)
{
    const std::string one = At("one"), two = At("two"), deep = At("deep") + std::string(600, '/') + "end";
    factory.CreateFullPath((one + " " + two + " " + deep).c_str()); // nothing is quoted or cut
    directory.Write("one/a", "text");
    factory.CopyFile(At("one/a").c_str(), At("one/b.tmp").c_str(), FOREGROUND_COPY);
    factory.MoveFile(At("one/a").c_str(), At("deep/end/c").c_str());
    factory.CopyDirs(one.c_str(), two.c_str());
    factory.CreateSoftLink(At("deep/end/c").c_str(), At("two/link").c_str());
    EXPECT_EQ(directory.Read("one/a"), "") << "moved away";
    EXPECT_EQ(directory.Read("two/b.tmp"), "text");
    EXPECT_EQ(directory.Read("two/link"), "text");
    factory.RemoveFiles(two.c_str(), "*.tmp");
    EXPECT_EQ(factory.RemoveDirs(two.c_str(), false), 0) << "a command that fails is no failure";
    EXPECT_TRUE(factory.CheckForDir(two.c_str()));
    EXPECT_FALSE(factory.CheckForFile(two.c_str(), "b.tmp"));
    factory.RemoveDirs(two.c_str(), true);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(factory.CheckForDir(two.c_str()));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "COSSLinuxFactory::CheckForDir: " + two + "::No such file or directory ");
}

TEST_F(OssFactory, ACallThatFailsGivesItsCode)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN); // system() then cannot wait for the shell
    EXPECT_EQ(factory.Sync(), -101);
    std::signal(SIGCHLD, before);
    EXPECT_EQ(factory.Makedir("/", 0), EEXIST);
    EXPECT_EQ(factory.SetEnv("a=b", "", true), EINVAL);
}

TEST_F(OssFactory, OnlyARegularFileWithTheWholeNameIsFound)
{
    std::filesystem::resize_file(directory.Write("abc", ""), 0x100000005U);
    EXPECT_EQ(factory.GetFileSize(At("abc").c_str()), 5U) << "sizes keep 32 bits";
    factory.Makedir(At("sub").c_str(), 0700);
    for (const char* name : {"abc", "ab", "abcd", "sub"})
        EXPECT_EQ(factory.CheckForFile(At("").c_str(), name), name == std::string("abc")) << name;
}
} // namespace
