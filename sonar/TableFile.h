#pragma once

#include "Utilities/FPGATypes.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <tuple>
#include <utility>
#include <vector>

class TestControllerBase;

/// A number of the log, by the texts before and after it.
struct ScalarKey_T {
    std::string_view start;
    std::string_view end;
};

/// A table of the log: its size follows the header on the same line, its numbers follow on the next lines.
struct TableKey_T {
    std::string_view header;
    std::string_view end;
    int base; ///< of the numbers
    std::string_view failure;
};

/// The texts before and after the log's values. Blanks and spellings are those of the log.
namespace TableKeys
{
inline constexpr ScalarKey_T c_ChannelFilter{"FpgaInterface->SetChannelFilterRegister(",
                                             ");\nFpgaInterface->SetADCFrequencyRegister"};
inline constexpr ScalarKey_T c_NumberOfSamples{"FpgaInterface->SetNumberOfSamplesToReceive(",
                                               ");\nFpgaInterface->SetSubSampleRate"};
inline constexpr ScalarKey_T c_SubSampleRate{"FpgaInterface->SetSubSampleRate(",
                                             ");\nFpgaInterface->SetSubSampleMode"};
inline constexpr ScalarKey_T c_SubSampleThreshold{"FpgaInterface->SetSubSampleThreshold(",
                                                  ");\nFpgaInterface->SetBoostLevel"};
inline constexpr ScalarKey_T c_BoostLevel{"FpgaInterface->SetBoostLevel(",
                                          ");\nFpgaInterface->SetChirpTable"};
inline constexpr ScalarKey_T c_FilterSubSampleDivisor{"FpgaInterface->GetBBFilterSubSampleDivisor(",
                                                      ");\nFpgaInterface->SetBaseBandFilterSelection"};
inline constexpr ScalarKey_T c_FilterSelection{"FpgaInterface->SetBaseBandFilterSelection(",
                                               ");\nFpgaInterface->SetBaseBandFilterScalingReg"};
inline constexpr ScalarKey_T c_FilterScaling{"FpgaInterface->SetBaseBandFilterScalingReg(",
                                             ");\nFpgaInterface->SetBaseBandFilterCentreFreq"};
inline constexpr ScalarKey_T c_FilterCentreFrequency{"FpgaInterface->SetBaseBandFilterCentreFreq(",
                                                     ");\nFpgaInterface->SetCorrelationFilter"};
inline constexpr ScalarKey_T c_CorrelationDownShift{"FpgaInterface->SetCorralationDownShift(",
                                                    ");\nFpgaInterface->SetCorralationScaling"};
// The log has this line twice: the first ends the value before it, the second, indented one holds the value.
inline constexpr ScalarKey_T c_CorrelationScaling{
    "  FpgaInterface->SetCorralationScaling(",
    ");\n-------------------CONFIGURE FPGA VALUES  END ----------------"};

inline constexpr TableKey_T c_Chirp{.header = "FpgaInterface->SetChirpTable Details : size ",
                                    .end = "FpgaInterface->SetTVGTable: details size: ",
                                    .base = 16,
                                    .failure = "ERROR: Failed to read Chirp Table .\n"};
inline constexpr TableKey_T c_Tvg{.header = c_Chirp.end,
                                  .end = "FpgaInterface->GetBBFilterSubSampleDivisor",
                                  .base = 10,
                                  .failure = "ERROR: Failed to read TVG Table .\n"};
inline constexpr TableKey_T c_Correlation{.header = "FpgaInterface->SetCorrelationFilter Details size ",
                                          .end = c_CorrelationDownShift.start,
                                          .base = 10,
                                          .failure = "ERROR: Failed to read Correlation Filter.\n"};
} // namespace TableKeys

/// A saved copy of the log that the sonar application writes when it configures the FPGA. Carriage returns
/// are ignored, and the text ends at the first zero byte. Text that is not a number reads as 0.
class CTableFile
{
public:
    /// Reads the file. A file that cannot be opened is reported on standard output and counts as empty.
    static CTableFile Open(TestControllerBase& framework, const QString& fileName);
    /// Takes the log's text, and a file name for the messages.
    CTableFile(TestControllerBase& framework, const QString& text, const QString& fileName);

    /// Whether this is the file of that name, unchanged since it was read. Only a regular file is looked at
    /// again, because a pipe can be read only once.
    bool IsStill(const QString& fileName) const;

    /// The decimal number between the two texts, each at its first place in the file; -1 when a text is
    /// missing.
    int GetValue(const ScalarKey_T& key) const;

    /// The number of entries that the header's line announces; 0, printed as an error, when there is no such
    /// line.
    int GetSize(std::string_view headerKey) const;

    /// The texts of a table's numbers, two for each entry. Empty, with the reason printed, when the table is
    /// not found or does not hold as many numbers as the header says.
    std::vector<std::string> GetPairs(std::string_view headerKey, std::string_view endKey) const;

    /// Appends the entries of the three tables to the lists. Returns 2, or 1 at the first table that cannot
    /// be read, which is reported in *out; the lists before it keep their entries.
    int LoadTables(ChirpTable_T& chirp, TVGTable_T& tvg, CorrelationFilterCoefficients_T& correlation,
                   std::string* out) const;

private:
    using Place_T = std::pair<std::string, std::size_t>;
    /// What changes when a file is replaced or written: device, inode, size, modification time.
    using Version_T = std::optional<std::tuple<dev_t, ino_t, off_t, std::int64_t, long>>;
    static constexpr std::size_t c_Missing = std::string::npos;

    CTableFile(TestControllerBase& framework, std::string text, const QString& fileName, Version_T version);
    /// Empty for anything but a regular file.
    static Version_T VersionOf(const QString& fileName);

    /// Calls visit() with the text of each number of a table. Returns false, with the reason printed, when
    /// the table is not found or does not hold as many numbers as the header says.
    template <class Visit>
    bool VisitNumbers(std::string_view headerKey, std::string_view endKey, Visit visit) const;
    template <class Entry>
    bool Load(const TableKey_T& key, std::vector<Entry>& table, std::string* out) const;
    std::size_t Find(std::string_view key) const;
    std::string_view Between(std::size_t from, std::size_t to) const;
    void Print(const std::string& text) const;

    TestControllerBase& m_Framework;
    QString m_FileName;
    Version_T m_Version;
    std::string m_Text;
    mutable std::vector<Place_T> m_Places;
};
