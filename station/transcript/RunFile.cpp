#include "station/transcript/RunFile.h"

#include "station/transcript/PrintableText.h"
#include "tools/BoundedFile.h"

#include <QDate>
#include <QTime>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace
{
constexpr std::string_view c_Title = "sonarbench-run: ";
constexpr std::string_view c_FormatVersion = "1";
constexpr std::string_view c_Yes = "yes";
constexpr std::string_view c_No = "no";
constexpr char c_OtherVersion[] = "the run file has a version that this program does not know";
constexpr char c_BrokenOff[] = "the run was broken off";
constexpr char c_Damaged[] = "the header of the run file is damaged";

/// The whole text as a number; false if it is none.
template <class Number>
bool Read(std::string_view text, Number& number)
{
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() && end == text.data() + text.size();
}

template <class Number>
Bytes_T Written(Number number)
{
    std::array<char, 32> text{}; // enough for the shortest form of every number
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

/// A time such as 2026-11-22T10:41:28.123+00:00.
bool IsTime(std::string_view text)
{
    constexpr std::string_view form = "0000-00-00T00:00:00.000+00:00";
    const auto number = [text](std::size_t begin, std::size_t length) {
        int value = 0;
        Read(text.substr(begin, length), value);
        return value;
    };
    const auto fits = [](char byte, char wanted) {
        return wanted == '0' ? byte >= '0' && byte <= '9' : byte == wanted;
    };
    return std::ranges::equal(text, form, fits) && text.ends_with("+00:00") &&
           QDate::isValid(number(0, 4), number(5, 2), number(8, 2)) &&
           QTime::isValid(number(11, 2), number(14, 2), number(17, 2));
}

/// A line of the header.
struct Field_T {
    std::string_view name;
    /// False: it is not valid.
    bool (*read)(Record_T& record, std::string_view value);
    /// Empty: the line is left out.
    Bytes_T (*write)(const Record_T& record);
    bool isRequired = true;
    bool isOfEnd = false; ///< it is known at the end of the run
};

template <Bytes_T Record_T::*c_Member>
constexpr Field_T Text(std::string_view name, bool isRequired)
{
    return {.name = name,
            .read =
                [](Record_T& record, std::string_view value) {
                    record.*c_Member = value.substr(0, c_LongestKeptLine);
                    return true;
                },
            .write = [](const Record_T& record) { return record.*c_Member; },
            .isRequired = isRequired};
}

/// A number that is known at the end of the run.
template <auto c_Member>
constexpr Field_T Number(std::string_view name)
{
    return {
        .name = name,
        .read = [](Record_T& record,
                   std::string_view value) { return Read(value, record.*c_Member) && record.*c_Member >= 0; },
        .write =
            [](const Record_T& record) {
                return record.*c_Member < 0 ? Bytes_T() : Written(record.*c_Member);
            },
        .isRequired = false,
        .isOfEnd = true};
}

// The last one that is written makes the header complete.
constexpr std::string_view c_OutputBytes = "output-bytes";

constexpr Field_T c_Fields[] = {
    Text<&Record_T::unit>("unit", true),
    {.name = "serial-number-verified",
     .read =
         [](Record_T& record, std::string_view value) {
             record.isVerified = value == c_Yes;
             return value == c_Yes || value == c_No;
         },
     .write = [](const Record_T& record) { return Bytes_T(record.isVerified ? c_Yes : c_No); }},
    Text<&Record_T::product>("product", false),
    Text<&Record_T::station>("station", true),
    Text<&Record_T::operatorName>("operator", false),
    Text<&Record_T::host>("host", false),
    Text<&Record_T::command>("command", true),
    {.name = "start",
     .read =
         [](Record_T& record, std::string_view value) {
             record.start = IsTime(value) ? value : std::string_view();
             return !record.start.empty();
         },
     .write = [](const Record_T& record) { return record.start; }},
    Number<&Record_T::seconds>("seconds"),
    Number<&Record_T::status>("status"),
    Text<&Record_T::stopped>("stopped", false),
    Number<&Record_T::output>(c_OutputBytes),
};
constexpr std::string_view c_ErrorName = "error";

/// Reads a line, and notes which fields were there.
class CHeader
{
public:
    void Take(const ReadLine_T& line)
    {
        const std::size_t colon = line.text.find(':');
        const std::string_view name = line.text.substr(0, colon);
        std::string_view value = line.text.substr(std::min(colon, line.text.size() - 1) + 1);
        value.remove_prefix(value.starts_with(' ') ? 1 : 0);
        if (colon == std::string_view::npos) {
            m_IsDamaged = true;
        } else if (name == c_ErrorName) {
            if (m_Record.errors.size() < c_MostKeptLines) {
                m_Record.errors.push_back({line.number, Bytes_T(value.substr(0, c_LongestKeptLine))});
            }
        } else {
            TakeField(name, value);
        }
    }

    /// @param isClosed  the empty line was there
    Record_T Finish(bool isClosed, std::uint64_t lines)
    {
        for (std::size_t i = 0; i < std::size(c_Fields); ++i) {
            m_IsDamaged = m_IsDamaged || (c_Fields[i].isRequired && !m_IsThere[i]);
        }
        const bool isAtEnd = isClosed && m_IsThere.back();
        m_Record.isThere = true;
        m_Record.lines = lines;
        m_Record.objection = !isAtEnd                    ? c_BrokenOff
                             : m_IsDamaged               ? c_Damaged
                             : !m_Record.stopped.empty() ? m_Record.stopped
                             : m_Record.status < 0       ? "the command was not started"
                             : m_Record.status > 0
                                 ? "the command ended with status " + std::to_string(m_Record.status)
                                 : Bytes_T();
        return std::move(m_Record);
    }

private:
    void TakeField(std::string_view name, std::string_view value)
    {
        const auto* const field = std::ranges::find(c_Fields, name, &Field_T::name);
        if (field == std::end(c_Fields)) {
            return; // of a later minor version
        }
        bool& isThere = m_IsThere.at(static_cast<std::size_t>(field - std::begin(c_Fields)));
        m_IsDamaged = m_IsDamaged || isThere || !field->read(m_Record, value);
        isThere = true;
    }

    Record_T m_Record;
    std::array<bool, std::size(c_Fields)> m_IsThere = {};
    bool m_IsDamaged = false;
};

[[noreturn]] void Refuse(const Bytes_T& file)
{
    throw std::system_error(errno, std::generic_category(), file);
}

void Check(int result, const Bytes_T& file)
{
    if (result < 0) {
        Refuse(file);
    }
}

void WriteAll(int descriptor, std::string_view bytes, const Bytes_T& file)
{
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            Refuse(file);
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

/// A text as part of a file's name: letters, digits, - and _ as they are, all other bytes as %XX.
Bytes_T NamePart(std::string_view text)
{
    constexpr std::size_t mostBytes = 60;
    constexpr std::string_view plain = "-_0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    Bytes_T name;
    for (const char byte : text) {
        std::array<char, 4> code{byte};
        if (plain.find(byte) == std::string_view::npos) {
            std::snprintf(code.data(), code.size(), "%%%02X",
                          static_cast<unsigned int>(static_cast<unsigned char>(byte)));
        }
        if (name.size() + std::string_view(code.data()).size() > mostBytes) {
            break;
        }
        name += code.data();
    }
    return name;
}

/// 20261122T104128Z
Bytes_T NamePartOfTime(const Bytes_T& start)
{
    Bytes_T name = start.substr(0, 19);
    std::erase_if(name, [](char byte) { return byte == '-' || byte == ':'; });
    return name + "Z";
}
} // namespace

Bytes_T HeaderValue(std::string_view bytes)
{
    Bytes_T value;
    while (!bytes.empty()) {
        const std::size_t end = std::min(bytes.find('\\'), bytes.size());
        value += PrintableText(bytes.substr(0, end)).toStdString();
        value += end < bytes.size() ? "\\\\" : "";
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
    }
    return value;
}

std::string_view Trimmed(std::string_view text)
{
    constexpr std::string_view around = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(around), text.size()));
    return text.substr(0, text.find_last_not_of(around) + 1);
}

bool IsRunFile(std::string_view line) { return line.starts_with(c_Title); }

Record_T ReadHeader(std::string_view title, CLineSource& lines)
{
    const bool isKnown = title.substr(c_Title.size()) == c_FormatVersion;
    CHeader header;
    bool isClosed = false;
    std::uint64_t count = 1;
    for (ReadLine_T line; !isClosed && lines.Next(line); ++count) {
        isClosed = line.text.empty();
        if (!isClosed) {
            header.Take(line);
        }
    }
    Record_T record = header.Finish(isClosed, count);
    const std::optional<std::uint64_t> size = lines.Size();
    if (record.objection != c_BrokenOff && size && *size < lines.Taken() + record.output) {
        record.objection = c_BrokenOff;
    }
    if (!isKnown) {
        record.objection = c_OtherVersion;
    }
    record.headerBytes = lines.Taken();
    return record;
}

void FinishRecord(Record_T& record, const CLineSource& lines)
{
    const std::uint64_t output = lines.Taken() - record.headerBytes;
    if (record.objection.empty() && output != record.output) {
        record.objection =
            output < record.output ? c_BrokenOff : "there is more output than the run file says";
    }
}

bool IsBrokenOff(const Record_T& record) { return record.objection == c_BrokenOff; }

Bytes_T HeaderText(const Record_T& record, bool isAtEnd)
{
    Bytes_T text = Bytes_T(c_Title) + Bytes_T(c_FormatVersion) + "\n";
    for (const Field_T& field : c_Fields) {
        const Bytes_T value = isAtEnd || !field.isOfEnd ? field.write(record) : Bytes_T();
        text += value.empty() ? Bytes_T() : Bytes_T(field.name) + ": " + value + "\n";
    }
    for (const Line_T& error : record.errors) {
        text += Bytes_T(c_ErrorName) + ": " + error.text + "\n";
    }
    return text + "\n";
}

CRunFileWriter::CRunFileWriter(const Bytes_T& directory, const Record_T& record) : m_Directory(directory)
{
    std::error_code failure;
    if (std::filesystem::create_directories(directory, failure); failure) {
        throw std::system_error(failure, directory);
    }
    const Bytes_T stem = directory + "/" + NamePart(record.unit) + "." + NamePartOfTime(record.start) + "." +
                         NamePart(record.station);
    for (int number = 1; m_Descriptor < 0; ++number) {
        m_Name = stem + (number == 1 ? Bytes_T() : "." + std::to_string(number));
        m_Descriptor = ::open(PartName().c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (m_Descriptor < 0 && errno != EEXIST) {
            Refuse(PartName());
        }
        // Nobody else makes the whole file of this name, because that takes the part first.
        if (m_Descriptor >= 0 && std::filesystem::exists(std::filesystem::symlink_status(WholeName()))) {
            ::close(std::exchange(m_Descriptor, -1));
            ::unlink(PartName().c_str());
        }
    }
    const Bytes_T header = HeaderText(record, false);
    m_HeaderBytes = header.size();
    WriteAll(m_Descriptor, header, PartName());
}

CRunFileWriter::~CRunFileWriter() { ::close(m_Descriptor); }

void CRunFileWriter::Write(std::string_view output)
{
    WriteAll(m_Descriptor, output, PartName());
    m_Output += output.size();
}

Bytes_T CRunFileWriter::Finish(Record_T record)
{
    // The header is longer at the end, so the file is written again, where nobody looks for run files.
    const std::filesystem::path part = PartName();
    const Bytes_T whole = part.parent_path() / ("." + part.filename().string() + ".new");
    record.output = m_Output;
    const CDescriptor file(
        ::open(whole.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
    Check(file.Get(), whole);
    WriteAll(file.Get(), HeaderText(record, true), whole);
    std::array<char, 65536> piece;
    for (std::uint64_t copied = 0; copied < m_Output;) {
        const auto count =
            ::pread(m_Descriptor, piece.data(), piece.size(), static_cast<off_t>(m_HeaderBytes + copied));
        if (count <= 0) {
            errno = count == 0 ? EIO : errno;
            Refuse(PartName());
        }
        WriteAll(file.Get(), {piece.data(), static_cast<std::size_t>(count)}, whole);
        copied += static_cast<std::uint64_t>(count);
    }
    Check(::fsync(file.Get()), whole);
    Check(::rename(whole.c_str(), PartName().c_str()), PartName());
    Check(::rename(PartName().c_str(), WholeName().c_str()), WholeName());
    const CDescriptor directory(::open(m_Directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Check(directory.Get(), m_Directory);
    Check(::fsync(directory.Get()), m_Directory);
    return WholeName();
}
