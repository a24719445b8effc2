#include "Database/DatabaseLumetPingMetaData.h"
#include "tests/database/RecordFactory.h"

#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(RecordSharing, AWriterIsRefusedWhileAnotherProcessHoldsTheFile)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    CDatabaseLumetPingMetaData record(&factory, 0);
    record.SetCorrelationTable({.coefficients = {{1, 2}}});
    const std::string path = record.GetDBFilePath();
    const auto write = [&] {
        // Stops after the last of three pieces, before the old tail is cut off.
        factory.afterPiece = [piece = 0]() mutable { return ++piece < 3 || raise(SIGSTOP) == 0; };
        return record.writeDB() == 0;
    };
    const auto read = [&] {
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        return fcntl(open(path.c_str(), O_RDONLY | O_CLOEXEC), F_SETLK, &lock) == 0 && raise(SIGSTOP) == 0;
    };
    for (const std::function<bool()>& hold : {std::function<bool()>(write), std::function<bool()>(read)}) {
        const pid_t holder = fork();
        if (holder == 0) {
            _exit(hold() ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(holder, &status, WUNTRACED), holder);
        ASSERT_TRUE(WIFSTOPPED(status)) << status;
        testing::internal::CaptureStdout();
        EXPECT_EQ(record.writeDB(), -140);
        EXPECT_EQ(COSSLinuxFile(path.c_str(), O_RDONLY, 0).GetErrorCode(), -140)
            << "readers are refused, too";
        EXPECT_THAT(testing::internal::GetCapturedStdout(),
                    testing::HasSubstr("locked by " + std::to_string(holder)));
        kill(holder, SIGCONT);
        EXPECT_EQ(waitpid(holder, &status, 0), holder);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(record.writeDB(), 0);
        EXPECT_EQ(factory.events, Lines{});
    }
}
