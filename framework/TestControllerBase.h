#pragma once

#include "framework/OutputStrings.h"
#include "framework/Products.h"
#include "framework/TestResult.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>

class QProcess;

/// Whose file it is, which limits its size.
enum class FileOwner {
    Unit,   ///< 32 MiB
    Station ///< a quarter of the memory; 32 MiB for what has no size, such as a pipe
};

/// What all test programs of the family share: messages and the report, file and process helpers, and the
/// identity of the unit. Text is bytes; a QString holds one byte in each character (Latin-1), so that an
/// argument or a file name comes out as it went in. Where an output text is passed as a pointer, it may be
/// null.
class TestControllerBase
{
public:
    TestControllerBase() = default;
    TestControllerBase(const TestControllerBase&) = delete;
    TestControllerBase& operator=(const TestControllerBase&) = delete;
    virtual ~TestControllerBase() = default;

    /// Prints the usage of the test program after the text. The base prints nothing.
    virtual void ShowValidArguments(std::string* text);

    /// Appends the text to *output when addToOutput is set and output is not null. Prints it at once when
    /// printNow is set, or when addToOutput is set and output is null. Returns true.
    bool Message(const std::string& text, std::string* output, bool printNow, bool addToOutput, bool = false);
    bool Message(const QString& text, std::string* output, bool printNow, bool addToOutput, bool = false);

    /// Prints the output text and the verdict line. A failed run gets the unit data block before the verdict,
    /// an unrecognised command the usage instead of a verdict.
    void ReportResult(std::string output, std::string commandLine, TestResult_T result);

    /// Converts as strtol (base 10) does and keeps the low 32 bits. Text that is not a number gives 0. Beyond
    /// 2,147,483,647 the result depends on the width of long, and so on the processor.
    static unsigned int CharToUnsignedInt(const char* text);

    /// Whether something exists at the path.
    static bool FileExists(const QString& path);
    /// Reads a whole file. Returns no value when the file cannot be opened, is larger than its owner's limit,
    /// gives no data for 5 seconds or has no end after 30; except for the first, standard error names the
    /// reason. A failed read gives the bytes read before it.
    static std::optional<QByteArray> ReadWholeFile(const QString& path, FileOwner owner = FileOwner::Unit);
    /// Reads a whole file. Returns 2, or 1 when it cannot be opened (reported in *output and printed).
    int GetFileContents(const QString& path, QByteArray& contents, std::string* output,
                        FileOwner owner = FileOwner::Unit);
    /// The file's text up to the first zero byte; empty when it cannot be opened (printed).
    QString ReadFileContents(const QString& path);
    /// Whether the file holds exactly these bytes; differences are appended to *output.
    bool CheckFileContents(const QString& path, const QByteArray& expected, std::string* output);
    /// Replaces the file's contents and syncs. False when it cannot be opened or written. The message goes to
    /// *output or, when output is null, is printed with a line end, even when it is empty.
    bool WriteToFile(const QString& path, const QByteArray& data, std::string* output);
    /// Appends the file's contents and a line end to *output. Returns 2, or 1 when it cannot be opened or is
    /// empty.
    int ShowFileContents(const QString& path, std::string* output);
    /// Runs a command line and waits for its end, at most timeoutSeconds (0: without limit). Returns 2 when
    /// it ended in time, else 1. With keepRunning it returns 2 as soon as the command has started, and the
    /// caller owns *process. When quiet is 0, the command and its output are printed.
    int RunProcess(const QString& command, std::string* output, unsigned int timeoutSeconds,
                   QProcess** process, bool keepRunning, int quiet);

    /// Code of this unit's product, read again on every call; 0 when there is no identity file, or when no
    /// product has its identity (printed).
    unsigned int GetProductId();
    /// The row of that product.
    const Product_T& GetProduct() { return ProductOf(GetProductId()); }
    /// Text block for bug reports: command, product, versions, serial number.
    QString GetUnitData(const QString& command);

protected:
    /// The build and version lines that the usage and the unit data block show.
    static QString VersionText();

    static constexpr COutputStringTable m_OutputStrings{};
};
