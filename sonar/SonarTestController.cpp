#include "sonar/SonarTestController.h"

#include "sonar/TableFile.h"

#include <algorithm>
#include <cstdlib>

namespace
{
// The usage is part of the printed contract. It names a command that does not exist, leaves out "lumetping"
// and mixes "./" with "../", on purpose.
constexpr const char* c_Usage[] = {
    "./sonarbench batteryvoltage (Example: ../sonarbench batteryvoltage)\n",
    "./sonarbench lcdtemperature (Example: ../sonarbench lcdtemperature)\n",
    "./sonarbench watertemperature (Example: ../sonarbench watertemperature)\n",
    "./sonarbench speed <duration> (0 = infinite) (Example: ../sonarbench speed 5)\n",
    "./sonarbench sensepin (Example: ../sonarbench sensepin)\n",
    "./sonarbench loadfpgabinary (Example: ./sonarbench loadfpgabinary)\n",
    ("./sonarbench ping <Start Frequency> <End Frequency> <Depth> <Period> <Channel> <AnalogueGain: high | "
     "Medium | low> (Example: ./sonarbench ping 200000 210000 27 45 0 medium)\n"),
    ("./sonarbench lowscanping <Freq 200 | 350 | 200long | 350long > (Example: ./sonarbench lowscanping "
     "200long )\n"),
    "./sonarbench xkping Filename Channel IncrementBy (Example: ./sonarbench xkping 200kHPShort.txt 0 5)\n",
    "./sonarbench 6mping <channel> (Example: ./sonarbench 6mping 0 )\n",
};
} // namespace

CSonarTestController::CSonarTestController()
    : m_InterfaceNotice(QStringLiteral(
          "If unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor defines all "
          "the product ids (eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType "
          "GetSounderType()\n"))
{
    SetProductEnvironment();
    if (std::getenv("PRODUCT_ID") == nullptr) {
        Message(std::string("ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n"), nullptr,
                true, false);
    }
}

CSonarTestController::~CSonarTestController() = default;

void CSonarTestController::ShowValidArguments(std::string* text)
{
    const auto print = [this](const std::string& line) { Message(line, nullptr, true, false); };
    print("\n" + VersionText().toStdString() + "\n\n\n");
    if (text != nullptr) {
        print(*text);
    }
    print(std::string(m_OutputStrings[OUT_VALID_ARGUMENTS_HEADER]));
    for (const char* line : c_Usage) {
        print(line);
    }
}

char* CSonarTestController::StringFromQString(const QString& text)
{
    const QByteArray bytes = text.toLatin1();
    const auto withTerminator = static_cast<std::size_t>(bytes.size()) + 1;
    auto array = std::make_unique<char[]>(withTerminator);
    std::copy_n(bytes.constData(), withTerminator, array.get());
    return array.release();
}

void CSonarTestController::HandleReturn(int code, TestResult_T& result)
{
    if (code != 0) {
        result = TEST_FAILED;
        Message("Call to Lowscan function from CSonarTestController Failed, return value: " +
                    std::to_string(code) + "\n",
                nullptr, false, true);
    }
}

int CSonarTestController::Fail(const std::string& reason, std::string* out)
{
    Message(reason, out, false, true);
    return TEST_FAILED;
}

XdcrElementIndex_T CSonarTestController::ElementOf(const Product_T& product, unsigned char channel)
{
    return product.twoFpgas ? channel : XdcrElementIndex_T{0};
}
