#pragma once

#include "Utilities/EventCodes.h"
#include "Utilities/FPGATypes.h"
#include "framework/TestControllerBase.h"

#include <QList>
#include <QString>

#include <memory>
#include <string>

class CFPGAIF;
class CPingMetaData;
class CTableFile;

// What is tested of products whose tests choose no channel.
inline constexpr XdcrElementIndex_T c_FirstElement = 0;
inline constexpr unsigned char c_FirstChannel = 0;

/// The sonar tests. One object serves one run: its construction identifies the unit and writes the
/// environment that the FPGA layer reads. The tests append what they observe to the output text, or print it
/// when a pointer to the text is null, and return a TestResult_T.
class CSonarTestController : public TestControllerBase
{
public:
    /// Writes the product environment; on QL1A and QL2A stops the sounder application. Failures are printed,
    /// and construction completes.
    CSonarTestController();
    ~CSonarTestController() override;

    void ShowValidArguments(std::string* text) override;

    /// Switches the sonar on. Returns 2, also when there is nothing to switch, or 1.
    int EnableSonar(std::string* output);

    /// Show one sensor file each; return 2, or 1 when it cannot be read or is empty.
    int BatteryVoltage(std::string& output);
    int LCDTemperature(std::string& output);
    int SensePin(std::string& output);
    /// Shows the unit's water temperature file or, if the unit has none, the temperature in degrees Celsius
    /// calculated from the FPGA's ADC readings. Returns 2, or 1 when the FPGA does not give the readings.
    int WaterTemperature(std::string& out);
    /// Loads the firmware and shows the paddle wheel's tick count at the beginning of every second and at the
    /// end. If standard error is a terminal, each reading is also printed there at once. SIGINT or SIGTERM
    /// ends the test after the current second.
    /// @param duration  seconds; 0: until stopped, below 0: no reading
    /// @return 0, or the result of a failed load
    int GetWaterSpeed(std::string& out, int duration);

    /// Reads the FPGA's firmware version and checks that it is plausible. Returns 0 when it is, else 1.
    /// @param facade   null: one is created for the read
    /// @param channel  transducer element of the created facade; it only matters on the QL6M
    int ReadSonarVersionEnsureValid(std::string& out, CFPGAIF* facade, unsigned char channel)
    {
        return ReadSonarVersionEnsureValid(&out, facade, channel);
    }
    /// Loads the product's firmware image with a shell command. Returns 0, or 1 when there is no firmware
    /// directory, no shell, or (with checkVersion) no plausible version afterwards.
    int LoadFPGABinary(std::string& out, bool checkVersion) { return LoadFPGABinary(&out, checkVersion); }

    /// Pings an xK module with the settings of the table file and prints every incrementBy-th sample. Returns
    /// 0 or 1; a short read of samples is reported and returns 0.
    int xKPing(std::string* out, const QString& fileName, unsigned char channel, int incrementBy);

    /// Pings on one of the two channels of a Lowscan FPGA and prints the samples. Returns 0, or 1 when a step
    /// failed; only a wrong product and missing firmware keep it from firing.
    /// @param startFreq, endFreq  hertz
    /// @param depth    metres, of the last sample
    /// @param period   of the channel's pulse, in FPGA clock units; the other channel stays quiet
    /// @param channel  0 or 1; with any other value both channels fire, and the test fails
    /// @param gain     "high", "medium" or "low"
    int Ping(std::string* out, double startFreq, double endFreq, unsigned int depth, unsigned int period,
             unsigned int channel, const QString& gain);
    /// Pings on one channel of a Lumet FPGA and prints the samples. Returns 0, or 1 at the first step that
    /// fails.
    int Ping(std::string* out, const CPingMetaData& meta);
    /// Register value of a gain word; 0 for any other word.
    static unsigned char GetAppropriateAnalogueGainLevel(const QString& word);

    /// Loads the firmware and pings with the built-in setting of that name, "200long" or "350long". Returns 0
    /// or 1.
    int LumetPing(std::string* out, const QString& frequency);

    /// Readers of table files (CTableFile describes the format). GetValue and LoadTables take the file's
    /// name, the other two its text. GetValue returns the number between the keys, -1 when a key is missing;
    /// GetSize the size after a table's header, 0 when there is no header; GetPairs the texts of a table's
    /// numbers, an empty list when the table is damaged; LoadTables 2 with the entries appended to the lists,
    /// or 1. Messages of GetSize and GetPairs are printed.
    int GetValue(const QString& fileName, const QString& startKey, const QString& endKey);
    int GetSize(const QString& text, const QString& headerKey);
    QList<QString> GetPairs(const QString& text, const QString& headerKey, const QString& endKey);
    int LoadTables(ChirpTable_T& chirp, TVGTable_T& tvg, CorrelationFilterCoefficients_T& correlation,
                   std::string* out, const QString& fileName);

    /// For any code but 0: prints the failure and makes the result TEST_FAILED.
    void HandleReturn(int code, TestResult_T& result);
    /// Zero-terminated bytes of the text. The caller releases them with delete[].
    static char* StringFromQString(const QString& text);

private:
    /// Appends the reason of a failure to the output text. Returns TEST_FAILED, for a caller that ends with
    /// it.
    int Fail(const std::string& reason, std::string* out);
    /// The public functions of these names, for an output text that may be null.
    int ReadSonarVersionEnsureValid(std::string* out, CFPGAIF* facade, unsigned char channel);
    int LoadFPGABinary(std::string* out, bool checkVersion);
    /// The transducer element of a channel: the channel itself on a unit with two FPGAs, else 0.
    static XdcrElementIndex_T ElementOf(const Product_T& product, unsigned char channel);

    /// Puts the variables into the environment. The unit is identified twice: the set-up and the channels
    /// follow the second result, the product identity of a full set-up the first.
    void SetProductEnvironment();
    /// Sets the product identity and what belongs to it. A product without an FPGA link is unknown here.
    void SetProductIdentity(const Product_T& identity);
    void StopSounder();
    /// The table file: the one read last, or read now when the name is another or the file has changed.
    const CTableFile& TableFile(const QString& fileName);

    QString m_InterfaceNotice;
    std::unique_ptr<CTableFile> m_pTableFile; ///< the table file read last; null: none yet
};
