#pragma once

#include <QCommandLineParser>

#include <string>
#include <vector>

/// "; did you mean QL4K?", with the word that was probably meant; empty if no word is similar.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& words);

/// How often an option with a value may be given.
enum class Occurs { Once, Often };

/// The command line of a program, or of one of its subcommands. It has the options --help and --version.
class CCommandLine
{
public:
    /// @param name  as it is typed, such as "sonarbench-station report"
    CCommandLine(QString name, const QString& description);

    void Add(const QCommandLineOption& option, Occurs occurs = Occurs::Once);

    /// Reads the arguments, of which the first is the program.
    /// @return false: help or the version was asked for, and is printed
    /// @throw CUsageError
    bool Read(const QStringList& arguments);

    /// Whether a word is one of the options, such as "--name", "--name=value" or "-h".
    bool Knows(const QString& word) const;

    /// The parsed arguments. Describe positional arguments here before Read().
    QCommandLineParser& Parser() { return m_Parser; }
    /// What --help prints.
    std::string Help() const;
    /// Adds text below the options in the help.
    void AddHelp(const std::string& text) { m_MoreHelp += text; }

private:
    [[noreturn]] void RefuseUnknownOption(const QStringList& arguments) const;

    QString m_Name;
    QCommandLineParser m_Parser;
    QCommandLineOption m_HelpOption;
    QCommandLineOption m_VersionOption;
    std::vector<std::string> m_Options; ///< as they are typed
    QStringList m_Once;                 ///< options that may be given once
    std::string m_MoreHelp;
};
