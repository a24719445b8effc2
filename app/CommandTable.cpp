#include "app/CommandTable.h"

#include "sonar/SonarTestController.h"

#include <algorithm>
#include <iterator>

namespace
{
using Arguments_T = const char* const*; ///< argv, including the program's name and the command word

struct Command_T {
    std::string_view word;
    std::string_view arguments = {};                ///< their names, with blanks between; empty: any
    std::span<const std::string_view> choices = {}; ///< words that the last argument may be; empty: any
    TestResult_T wrongCount = TEST_FAILED;          ///< result when there are more or fewer arguments
    /// Checks the arguments and reports the first wrong one; null: all are accepted.
    bool (*accepts)(CSonarTestController&, Arguments_T, std::string& output) = nullptr;
    /// The test, returns its TestResult_T.
    int (*run)(CSonarTestController&, Arguments_T, std::string& output);
};

constexpr std::string_view c_FrequencyWords[] = {"200", "350", "350long", "200long", "50long"};
constexpr std::string_view c_GainWords[] = {"high", "medium", "low"};

unsigned int Number(const char* text) { return TestControllerBase::CharToUnsignedInt(text); }

bool IsFrequencyWord(CSonarTestController& controller, Arguments_T arguments, std::string& output)
{
    if (std::ranges::find(c_FrequencyWords, arguments[2]) != std::end(c_FrequencyWords)) {
        return true;
    }
    // That the text leaves out 50long is part of the printed contract.
    controller.Message(std::string("ERROR: Start freq must be 200, 350, 350long or 200long."), &output, false,
                       true);
    return false;
}

bool IsGainWord(CSonarTestController& controller, Arguments_T arguments, std::string&)
{
    const bool isGain = std::ranges::any_of(
        c_GainWords, [arguments](std::string_view word) { return qstricmp(arguments[7], word.data()) == 0; });
    controller.Message(isGain ? std::string("3\n")
                              : std::string(arguments[7]) + " is not a valid Analogue Gain level.\n",
                       nullptr, true, false);
    return isGain;
}

/// Runs a test that needs no arguments.
template <int (CSonarTestController::*Test)(std::string&)>
int Show(CSonarTestController& controller, Arguments_T, std::string& output)
{
    return (controller.*Test)(output);
}

int LoadFpgaBinary(CSonarTestController& controller, Arguments_T, std::string& output)
{
    return controller.LoadFPGABinary(output, true);
}

int XkPing(CSonarTestController& controller, Arguments_T arguments, std::string& output)
{
    return controller.xKPing(&output, QString::fromLatin1(arguments[2]),
                             static_cast<unsigned char>(Number(arguments[3])), // the channel is a byte
                             static_cast<int>(Number(arguments[4])));
}

int LumetPing(CSonarTestController& controller, Arguments_T arguments, std::string& output)
{
    return controller.LumetPing(&output, QString::fromLatin1(arguments[2]));
}

int Ping(CSonarTestController& controller, Arguments_T arguments, std::string& output)
{
    return controller.Ping(&output, Number(arguments[2]), Number(arguments[3]), Number(arguments[4]),
                           Number(arguments[5]), Number(arguments[6]), QString::fromLatin1(arguments[7]));
}

int Speed(CSonarTestController& controller, Arguments_T arguments, std::string& output)
{
    return controller.GetWaterSpeed(output, static_cast<int>(Number(arguments[2])));
}

/// argc of a command that takes these arguments.
int ArgumentCount(std::string_view arguments)
{
    constexpr int programWordAndFirst = 3;
    return programWordAndFirst + static_cast<int>(std::ranges::count(arguments, ' '));
}

constexpr Command_T c_Commands[] = {
    {.word = "lowscanping",
     .arguments = "setting",
     .choices = c_FrequencyWords,
     .accepts = IsFrequencyWord,
     .run = LumetPing},
    {.word = "lumetping",
     .arguments = "setting",
     .choices = c_FrequencyWords,
     .accepts = IsFrequencyWord,
     .run = LumetPing},
    {.word = "xkping", .arguments = "file channel increment", .run = XkPing},
    {.word = "ping",
     .arguments = "start end depth period channel gain",
     .choices = c_GainWords,
     .accepts = IsGainWord,
     .run = Ping},
    {.word = "batteryvoltage", .run = Show<&CSonarTestController::BatteryVoltage>},
    {.word = "lcdtemperature", .run = Show<&CSonarTestController::LCDTemperature>},
    {.word = "watertemperature", .run = Show<&CSonarTestController::WaterTemperature>},
    {.word = "loadfpgabinary", .run = LoadFpgaBinary},
    // A wrong count shows the usage, unlike with the other commands, on purpose.
    {.word = "speed", .arguments = "seconds", .wrongCount = NOT_RECOGNIZED, .run = Speed},
    {.word = "sensepin", .run = Show<&CSonarTestController::SensePin>},
};
} // namespace

std::vector<CommandForm_T> CommandForms()
{
    std::vector<CommandForm_T> forms;
    for (const Command_T& command : c_Commands) {
        forms.push_back({command.word, command.arguments, command.choices});
    }
    return forms;
}

TestResult_T RunCommand(CSonarTestController& controller, int argc, char* argv[], std::string& output)
{
    const char* const word = argc > 1 ? argv[1] : "";
    const auto* const command = std::ranges::find(c_Commands, word, &Command_T::word);
    if (command == std::end(c_Commands)) {
        return NOT_RECOGNIZED;
    }
    if (!command->arguments.empty() && argc != ArgumentCount(command->arguments)) {
        output += COutputStringTable()[OUT_INCORRECT_PARAMETER_COUNT];
        return command->wrongCount;
    }
    if (command->accepts != nullptr && !command->accepts(controller, argv, output)) {
        return TEST_FAILED;
    }
    return static_cast<TestResult_T>(command->run(controller, argv, output));
}
