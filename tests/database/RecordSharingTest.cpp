#include "Database/DatabaseLumetPingMetaData.h"
#include "Database/DatabasePingMetaData.h"
#include "tests/database/RecordFactory.h"

#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
/// Opens the file for reading, waits until nobody writes it, and keeps writers out while it is open.
int OpenLocked(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    return fcntl(descriptor, F_SETLKW, &lock) == 0 ? descriptor : -1;
}

/// Runs the work in a process of its own, which ends with 0 when it succeeded.
pid_t Fork(const std::function<bool()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        const bool printed = std::freopen("/dev/null", "w", stdout) != nullptr;
        _exit(printed && work() ? 0 : 1);
    }
    return child;
}

/// Whether a child's work succeeded.
bool Succeeded(pid_t child)
{
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}
} // namespace

TEST(RecordSharing, AWriterIsRefusedWhileAnotherProcessHoldsTheFile)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    CDatabasePingMetaData record(&factory, 0);
    const std::string path = record.GetDBFilePath();
    for (const bool writes : {true, false}) {
        const pid_t holder = Fork([&] {
            factory.afterPiece = [] { raise(SIGSTOP); };
            return writes ? record.writeDB() == 0 : OpenLocked(path) != -1 && raise(SIGSTOP) == 0;
        });
        int status = 0;
        ASSERT_TRUE(waitpid(holder, &status, WUNTRACED) == holder && WIFSTOPPED(status));
        testing::internal::CaptureStdout();
        EXPECT_EQ(record.writeDB(), -140);
        EXPECT_EQ(COSSLinuxFile(path.c_str(), O_RDONLY, 0).GetErrorCode(), -140) << "readers are, too";
        EXPECT_THAT(testing::internal::GetCapturedStdout(),
                    testing::HasSubstr("locked by " + std::to_string(holder)));
        kill(holder, SIGCONT);
        EXPECT_TRUE(Succeeded(holder));
        EXPECT_EQ(record.writeDB(), 0);
        EXPECT_EQ(factory.events, Lines{});
    }
}

TEST(RecordSharing, AReaderSeesOneTextAfterTheOtherAndWithALockOnlyWholeOnes)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    CDatabaseLumetPingMetaData shorter(&factory, 0), longer(&factory, 0);
    longer.SetCorrelationTable({.coefficients = CorrelationFilterCoefficients_T(20, {-1000, 1000})});
    longer.SetWorkingDepth(12);
    Lines texts;
    for (auto* pRecord : {&shorter, &longer}) {
        ASSERT_EQ(pRecord->writeDB(), 0);
        texts.push_back(directory.Read("PingMetaData0.txt"));
    }
    const auto isMixture = [&](const std::string& text) {
        bool fits = text.size() >= texts[0].size() && text.size() <= texts[1].size();
        for (std::size_t at = 0; fits && at < text.size(); ++at) {
            // The system fills what it cuts off with zeros, which a read of that moment can still find.
            fits = text[at] == texts[1][at] || text[at] == (at < texts[0].size() ? texts[0][at] : '\0');
        }
        return fits;
    };
    for (const bool locks : {false, true}) {
        const pid_t writer = Fork([&] {
            bool succeeded = true;
            for (int i = 0; i < 10000; ++i) {
                const TSQEventCode_T code = (i % 2 == 0 ? shorter : longer).writeDB();
                succeeded = succeeded && (code == 0 || (locks && code == -140));
            }
            return succeeded;
        });
        ASSERT_GT(writer, 0);
        for (siginfo_t end{}; end.si_pid == 0;
             waitid(P_PID, static_cast<id_t>(writer), &end, WEXITED | WNOHANG | WNOWAIT)) {
            const int lock = locks ? OpenLocked(longer.GetDBFilePath()) : -1;
            const std::string text = directory.Read("PingMetaData0.txt");
            EXPECT_TRUE(locks ? text == texts[0] || text == texts[1] : isMixture(text)) << text;
            close(lock);
        }
        EXPECT_TRUE(Succeeded(writer));
    }
}
