#pragma once

#include "framework/OutputStrings.h"
#include "framework/Products.h"
#include "framework/TestResult.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>

class QProcess;

/// Whose file it is, and so how large it may be.
enum class FileOwner {
    Unit,   ///< at most 32 MiB, a hundred times of what any holds
    Station ///< as it states, if that is a quarter of the memory at most; without a size, such as a pipe, 32
            ///< MiB
};

/// What all test programs of the family share: messages and the report, file and process helpers, and the
/// identity of the unit. Text travels as bytes; a QString holds one byte a character (Latin-1), so that an
/// argument or a file name comes out as it went in. Output texts may be null where a pointer is taken.
class TestControllerBase
{
public:
    TestControllerBase() = default;
    TestControllerBase(const TestControllerBase&) = delete;
    TestControllerBase& operator=(const TestControllerBase&) = delete;
    virtual ~TestControllerBase() = default;

    /// Prints the usage of the test program after the text. The base prints nothing.
    virtual void ShowValidArguments(std::string* text);

    /// Appends text to *output when addToOutput is set and there is an output text; prints it at once when
    /// printNow is set, or when it should be added and there is no output text. Always true.
    bool Message(const std::string& text, std::string* output, bool printNow, bool addToOutput, bool = false);
    bool Message(const QString& text, std::string* output, bool printNow, bool addToOutput, bool = false);

    /// Prints the output text and the verdict line. A failed run carries the unit data block, an unrecognised
    /// one the usage.
    void ReportResult(std::string output, std::string commandLine, TestResult_T result);

    /// Converts as strtol (base 10) does and wraps to 32 bits; text that is no number gives 0.
    static unsigned int CharToUnsignedInt(const char* text);

    /// Whether something exists at the path.
    static bool FileExists(const QString& path);
    /// Reads a whole file; no value when it cannot be opened, is larger than its owner may make it, stays
    /// silent for 5 seconds or has no end after 30 (standard error says which). A read that fails gives the
    /// bytes that came before.
    static std::optional<QByteArray> ReadWholeFile(const QString& path, FileOwner owner = FileOwner::Unit);
    /// Reads a whole file. Returns 2, or 1 when it cannot be opened (reported in *output and printed).
    int GetFileContents(const QString& path, QByteArray& contents, std::string* output,
                        FileOwner owner = FileOwner::Unit);
    /// The file's text up to the first zero byte; empty when it cannot be opened (printed).
    QString ReadFileContents(const QString& path);
    /// Whether the file holds exactly these bytes; differences are appended to *output.
    bool CheckFileContents(const QString& path, const QByteArray& expected, std::string* output);
    /// Replaces the file's contents and syncs. False when it cannot be opened or written; the message goes to
    /// *output, or is printed with a line end when there is none.
    bool WriteToFile(const QString& path, const QByteArray& data, std::string* output);
    /// Appends the file's contents and a line end to *output. Returns 2, or 1 when it cannot be opened or is
    /// empty.
    int ShowFileContents(const QString& path, std::string* output);
    /// Runs a command line and waits for it, at most timeoutSeconds (0: without limit). Returns 2 when it
    /// ended in time, 1 otherwise. With keepRunning it returns 2 once started and the caller owns *process. A
    /// quiet of 0 prints the command and its output.
    int RunProcess(const QString& command, std::string* output, unsigned int timeoutSeconds,
                   QProcess** process, bool keepRunning, int quiet);

    /// Code of the product this unit is, read anew on every call; 0 when it is not recognised (printed).
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
