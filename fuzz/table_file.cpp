// The text of a table file: all tables and numbers that a ping reads from it.

#include "fuzz/FuzzWorld.h"
#include "sonar/SonarTestController.h"
#include "sonar/TableFile.h"

namespace
{
constexpr char c_FileName[] = "table.txt";

using namespace TableKeys;
constexpr ScalarKey_T c_Values[] = {c_ChannelFilter,        c_NumberOfSamples,   c_SubSampleRate,
                                    c_SubSampleThreshold,   c_BoostLevel,        c_FilterSubSampleDivisor,
                                    c_FilterSelection,      c_FilterScaling,     c_FilterCentreFrequency,
                                    c_CorrelationDownShift, c_CorrelationScaling};

QString Text(std::string_view key) { return QString::fromLatin1(key); }
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const QString name = Text(c_FileName);
    CFuzzInput none;
    CFuzzWorld world(ProductOf(0), none);
    static CSonarTestController controller;
    world.files = {{c_FileName, {pData, pData + size}}};

    ChirpTable_T chirp;
    TVGTable_T tvg;
    CorrelationFilterCoefficients_T correlation;
    std::string output;
    const int result = controller.LoadTables(chirp, tvg, correlation, &output, name);
    Require((result == OPERATION_PERFORMED) == output.empty(),
            "a message is printed exactly if a table cannot be read");
    for (const ScalarKey_T& key : c_Values) {
        controller.GetValue(name, Text(key.start), Text(key.end));
    }

    const QString text = QString::fromLatin1(TestControllerBase::ReadWholeFile(name).value_or(QByteArray()));
    const qsizetype numbers = controller.GetPairs(text, Text(c_Tvg.header), Text(c_Tvg.end)).size();
    Require(tvg.empty() || numbers == 2 * static_cast<qsizetype>(tvg.size()),
            "both readers of a table agree");
    Require(numbers == 0 || numbers == qsizetype{2} * controller.GetSize(text, Text(c_Tvg.header)),
            "a table has the size that its header says");
    return 0;
}
