#include "framework/TestControllerBase.h"

#include <cstdio>
#include <cstdlib>

namespace
{
void Print(const std::string& text)
{
    // As a C string: what follows a zero byte is not printed.
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

// These reports print "%%" as one "%", as if they were a format; that is part of the printed contract. There
// is no other conversion, so that an argument of the command line cannot do harm.
void PrintAsFormat(const std::string& text)
{
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t position = 0; position < text.size(); ++position) {
        shown += text[position];
        position += text.compare(position, 2, "%%") == 0 ? 1 : 0;
    }
    Print(shown);
}
} // namespace

void TestControllerBase::ShowValidArguments(std::string*) {}

bool TestControllerBase::Message(const std::string& text, std::string* output, bool printNow,
                                 bool addToOutput, bool)
{
    if (addToOutput && output != nullptr) {
        output->append(text);
    }
    if (printNow || (addToOutput && output == nullptr)) {
        Print(text);
    }
    return true;
}

bool TestControllerBase::Message(const QString& text, std::string* output, bool printNow, bool addToOutput,
                                 bool)
{
    return Message(text.toLatin1().toStdString(), output, printNow, addToOutput);
}

void TestControllerBase::ReportResult(std::string output, std::string commandLine, TestResult_T result)
{
    switch (result) {
    case TEST_FAILED:
        output += GetUnitData(QString::fromLatin1(commandLine)).toLatin1().toStdString();
        Print(output.append(m_OutputStrings[OUT_TESTS_FAILED]));
        break;
    case TEST_PASSED:
        Print(output.append(m_OutputStrings[OUT_TEST_PASSED]));
        break;
    case OPERATION_PERFORMED:
        Print(output.append(m_OutputStrings[OUT_OPERATION_PERFORMED]));
        break;
    case NOT_RECOGNIZED:
        PrintAsFormat(output);
        if (!commandLine.empty()) {
            commandLine.insert(0, m_OutputStrings[OUT_FIRST_PARAMETER_NOT_RECOGNIZED]);
        }
        ShowValidArguments(&commandLine);
        break;
    default:
        PrintAsFormat(output.append(m_OutputStrings[OUT_NO_VALID_RETURN_VALUE]));
    }
}

unsigned int TestControllerBase::CharToUnsignedInt(const char* text)
{
    return static_cast<unsigned int>(std::strtol(text, nullptr, 10));
}
