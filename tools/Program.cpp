#include "tools/Program.h"

#include <QCoreApplication>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

CUsageError::CUsageError(const QString& text) : std::runtime_error(BytesOf(text)) {}

std::string BytesOf(const QString& text) { return text.toLatin1().toStdString(); }

std::string Excerpt(std::string_view text, std::size_t longest)
{
    std::string shown(text.substr(0, longest));
    std::ranges::replace_if(
        shown, [](char character) { return character < ' ' || character > '~'; }, '?');
    return shown + (text.size() > longest ? "..." : "");
}

void PrintError(const std::string& text)
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(QCoreApplication::applicationName()), text.c_str());
}

void Print(const std::string& text)
{
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0) {
        throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
    }
}

int RunProgram(const char* name, int failedStatus, int argc, char** argv,
               int (*run)(const QStringList& arguments))
{
    QCoreApplication::setApplicationName(QString::fromLatin1(name));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(SONARBENCH_VERSION));
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLatin1(argv[i]));
    }
    try {
        return run(arguments);
    } catch (const CUsageError& error) {
        PrintError(error.what());
        return c_WrongUsage;
    } catch (const std::exception& error) {
        PrintError(error.what());
        return failedStatus;
    }
}
