#pragma once

#include <ostream>
#include <string>
#include <vector>

/// A line of a trace.
struct TraceLine_T {
    std::string device;
    std::string direction; ///< "image", "ioctl", "write", "unasked", "fill", "reply" or "refused"
    std::string bytes;     ///< hexadecimal, of an ioctl with the request before it
    std::string text;      ///< the whole line

    bool operator==(const TraceLine_T&) const = default;
};
inline void PrintTo(const TraceLine_T& line, std::ostream* out) { *out << line.text; }
using Trace_T = std::vector<TraceLine_T>;

/// How a run on a virtual unit ended, and what it left.
struct UnitRun_T {
    int status;         ///< exit status of the simulator
    std::string output; ///< standard output
    std::string errors; ///< standard error
    Trace_T trace;
    std::string traceText; ///< the trace as it was written

    /// The trace's lines of one direction, whole.
    std::vector<std::string> Trace(const std::string& direction) const;
    /// The program's requests and writes in their order: "ioctl REQUEST+ARGUMENT" or "write BYTES".
    std::vector<std::string> Calls() const;
    /// What the report holds between its head and the end.
    std::string Report() const;
};

/// A virtual unit in the making: a product, changes to its files, faults; then runs on it.
class CVirtualUnit
{
public:
    /// @param product  empty: as the simulator finds it
    explicit CVirtualUnit(const std::string& product = "QL4K")
    {
        if (!product.empty()) {
            Option("--product", product);
        }
    }

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
    /// The simulator runs with this variable, NAME=value as a shell reads it.
    CVirtualUnit& In(const std::string& variable)
    {
        m_Environment += variable + " ";
        return *this;
    }
    CVirtualUnit& Fault(const std::string& specification) { return Option("--fault", specification); }

    /// Runs sonarbench on the unit; a byte of an argument may be anything but zero.
    UnitRun_T Run(const std::vector<std::string>& arguments) const;
    /// Runs a program written in shell on it.
    UnitRun_T RunScript(const std::string& script, const std::vector<std::string>& arguments = {}) const;

private:
    std::vector<std::string> m_Options;
    std::string m_Environment;
};

/// Contents of a file of the repository, by its path there.
std::string Source(const std::string& path);

/// What the report begins with for these arguments.
std::string ReportHead(const std::vector<std::string>& arguments);
