#include "sonar/SonarTestController.h"

namespace
{

// The usage is part of the printed contract: that it names a command that does not exist, leaves out
// "lumetping" and mixes "./" with "../" is kept on purpose.
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
