#pragma once

#include "tests/support/Texts.h"

/// The verdict of a test that passed.
inline const std::string c_Passed = "Test Result: Test Passed.\n";

/// The result of a run on a virtual unit.
struct UnitRun_T {
    int status;         ///< exit status of the simulator
    std::string output; ///< standard output
    std::string errors; ///< standard error
    std::string trace;  ///< the trace file's text

    /// The trace's lines of one direction ("image", "ioctl", "write", "unasked", "fill", "reply" or
    /// "refused"), or all of them.
    Words_T Trace(const std::string& direction) const;
    /// The program's requests and writes in their order: "ioctl REQUEST+ARGUMENT" or "write BYTES".
    Words_T Calls() const;
    /// The report without its head.
    std::string Report() const;
};

/// Builds a virtual unit from a product, changes to its files and faults, and runs programs on it.
class CVirtualUnit
{
public:
    /// @param product  empty: the simulator chooses it
    explicit CVirtualUnit(const std::string& product = "QL4K")
    {
        if (!product.empty()) {
            Option("--product", product);
        }
    }

    CVirtualUnit& Option(const std::string& name);
    CVirtualUnit& Option(const std::string& name, const std::string& value);
    CVirtualUnit& Set(const std::string& file, const std::string& value)
    {
        return Option("--set", file + "=" + value);
    }
    CVirtualUnit& Copy(const std::string& file, const std::string& from)
    {
        return Option("--copy", file + "=" + from);
    }
    CVirtualUnit& Remove(const std::string& file) { return Option("--remove", file); }
    /// Adds a variable to the simulator's environment: NAME=value, as a shell reads it.
    CVirtualUnit& In(const std::string& variable)
    {
        m_Environment += variable + " ";
        return *this;
    }
    CVirtualUnit& Fault(const std::string& specification) { return Option("--fault", specification); }

    /// Runs sonarbench on the unit. Arguments may hold any byte but zero.
    UnitRun_T Run(const Words_T& arguments) const;
    /// Runs a shell script on the unit, isolated from this machine where it permits that.
    UnitRun_T RunScript(const std::string& script, const Words_T& arguments = {}) const;

private:
    Words_T m_Options;
    std::string m_Environment;
};

/// A short ping on one channel.
inline UnitRun_T XkPing(const CVirtualUnit& unit, const std::string& increment = "1")
{
    return unit.Run({"xkping", "examples/short.txt", "0", increment});
}

/// The word of a trace's line that contains the bytes, in hexadecimal; of an ioctl with the request before
/// them.
std::string BytesOf(const std::string& traceLine);

/// Contents of a file of the repository.
std::string Source(const std::string& path);

/// Whether this machine permits the namespaces that isolate a program.
bool HasNamespaces();

/// What the simulator printed on standard error, without the line that comes where namespaces are refused.
std::string WithoutNotice(const std::string& errors);

/// The words, with a blank after each.
std::string WithBlanks(const Words_T& words);

/// The beginning of the report for these arguments.
std::string ReportHead(const Words_T& arguments);
