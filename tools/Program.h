#pragma once

#include <QStringList>

#include <stdexcept>
#include <string>
#include <string_view>

/// Exit status for a wrong command line.
inline constexpr int c_WrongUsage = 2;

/// The command line is wrong; the text says why.
class CUsageError : public std::runtime_error
{
public:
    /// @param text  made of decoded arguments, or of bytes
    explicit CUsageError(const QString& text);
    explicit CUsageError(const std::string& text) : std::runtime_error(text) {}
};

/// Arguments are decoded as Latin-1, one character per byte, so that any name is kept. This returns the
/// bytes.
std::string BytesOf(const QString& text);
/// A text of the program itself.
inline QString Decoded(const char* text) { return QString::fromLatin1(text); }

/// A text from elsewhere as a message shows it: at most so many characters, and ? for those that are not
/// printable.
std::string Excerpt(std::string_view text, std::size_t longest = 60);

/// Writes a line to standard error: the program's name and the text.
void PrintError(const std::string& text);

/// Writes to standard output. @throw std::runtime_error when it is full or closed
void Print(const std::string& text);

/// A program's main after its standard streams are open. Prints what is thrown. Needs no QCoreApplication.
/// @param name          of the program, for messages and help
/// @param failedStatus  for anything thrown other than CUsageError
/// @param run           gets all arguments, the program's name first; returns the exit status
/// @return the exit status
int RunProgram(const char* name, int failedStatus, int argc, char** argv,
               int (*run)(const QStringList& arguments));
