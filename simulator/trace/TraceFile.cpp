#include "simulator/trace/TraceFile.h"

#include "tools/BoundedFile.h"
#include "tools/Program.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace
{
using Kind = DeviceOperation_T::Kind;

/// A recorded image of the largest size, in hexadecimal, and half as much again.
constexpr std::size_t c_MostFileBytes = 3 * c_LargestImage;
/// Each of them takes more memory than its line.
constexpr std::size_t c_MostOperations = 1'000'000;

/// Reads lines into operations.
class CReader
{
public:
    explicit CReader(const std::string& name) : m_Trace{name, {}, 0, {}, {}, 0} {}

    /// These throw std::runtime_error, which says what is wrong with the line At().
    void Take(std::string_view text);
    TraceFile_T Finish();
    std::size_t At() const { return m_At; }
    bool IsUnfinished() const { return m_Trace.recording == Recording::Unfinished; }

private:
    struct Direction_T;
    static const Direction_T* FindDirection(std::string_view name);

    void TakeUnit(std::string_view text);
    void TakeFault(const std::string& specification);
    /// Takes a line that begins an entry or continues it.
    void TakeEntryLine(std::string_view text, bool isFirst);
    /// Whether the line is one of a recording.
    bool TakeRecording(std::string_view text);
    /// Puts the entry, when there is one, into its operation.
    void Complete();
    void AddOperation();
    void AddFill();
    void AddReply();
    void AddMore();
    void AddReplyTimes(TraceOperation_T& operation, std::size_t offset);
    void AddRefusal();
    void Append(TraceOperation_T operation);
    void PutReply(DeviceOutcome_T& outcome);
    /// The operation that the entry belongs to.
    TraceOperation_T& Above();
    /// The entry's bytes as a device sends them.
    Bytes_T Sent();

    TraceFile_T m_Trace; ///< its last line is the one that was read last
    std::optional<TraceEntry_T> m_Entry;
    RepeatBudget_T m_Repeats = c_MostRepeats;
    std::size_t m_At = 0; ///< number of the line that is checked
};

struct CReader::Direction_T {
    std::string_view name;
    void (CReader::*add)();
    bool mayFail = false;
    bool isOfDevice = false; ///< so that only a checksum shows that its bytes were changed
    bool mayBeLate = false;
};

const CReader::Direction_T* CReader::FindDirection(std::string_view name)
{
    static constexpr auto& c_Names = TraceWord::c_Operations;
    static constexpr std::array<Direction_T, 9> directions{{
        {.name = c_Names[0], .add = &CReader::AddOperation, .mayFail = true},
        {.name = c_Names[1], .add = &CReader::AddOperation, .mayFail = true},
        {.name = c_Names[2], .add = &CReader::AddOperation, .mayFail = true},
        {.name = c_Names[3], .add = &CReader::AddOperation, .isOfDevice = true, .mayBeLate = true},
        {.name = TraceWord::c_Fill, .add = &CReader::AddFill, .isOfDevice = true},
        {.name = TraceWord::c_Reply, .add = &CReader::AddReply, .isOfDevice = true, .mayBeLate = true},
        {.name = TraceWord::c_More, .add = &CReader::AddMore, .isOfDevice = true, .mayBeLate = true},
        {.name = TraceWord::c_Refused, .add = &CReader::AddRefusal},
        {.name = TraceWord::c_Excused, .add = &CReader::AddRefusal},
    }};
    const auto found = std::ranges::find(directions, name, &Direction_T::name);
    return found == directions.end() ? nullptr : &*found;
}

void CReader::Take(std::string_view text)
{
    const std::size_t number = m_At = ++m_Trace.lastLine;
    const std::size_t first = text.find_first_not_of(TraceWord::c_Blanks);
    if (number == 1) {
        if (text.substr(0, text.find_last_not_of(TraceWord::c_Blanks) + 1) != TraceWord::c_Header) {
            Refuse("a trace begins with the line \"" + std::string(TraceWord::c_Header) + "\"");
        }
    } else if (first == text.npos || text[first] == TraceWord::c_Comment) {
        return;
    } else if (m_Trace.unit.empty()) {
        TakeUnit(text);
    } else if (text.starts_with(TraceWord::c_Fault)) {
        TakeFault(std::string(text.substr(TraceWord::c_Fault.size())));
    } else if (!TakeRecording(text)) {
        TakeEntryLine(text, first == 0);
    }
}

void CReader::TakeEntryLine(std::string_view text, bool isFirst)
{
    const std::size_t number = m_At;
    if (isFirst) {
        Complete();
        m_At = number;
        m_Entry = BeginTraceEntry(text, number, m_Repeats);
        if (FindDirection(m_Entry->direction) == nullptr) {
            Refuse("unknown direction \"" + Excerpt(m_Entry->direction) + "\"");
        }
    } else if (m_Entry) {
        ContinueTraceEntry(*m_Entry, text, number, m_Repeats);
    } else {
        Refuse("this line begins with a blank, but there is no entry above it");
    }
}

void CReader::TakeUnit(std::string_view text)
{
    const std::string_view word = TakeTraceField(text);
    const std::string_view name = TakeTraceField(text);
    if (word != TraceWord::c_Unit || name.empty() || !TakeTraceField(text).empty()) {
        Refuse("a line \"unit PRODUCT\" must come before the operations");
    }
    m_Trace.unit = TraceNameIn(name);
    m_Trace.unitLine = m_At;
}

void CReader::TakeFault(const std::string& specification)
{
    try {
        m_Trace.callFaults.push_back(FaultOf(specification));
    } catch (const std::invalid_argument& error) {
        Refuse(error.what());
    }
    if (!m_Trace.callFaults.back().kind->IsAtCall()) {
        Refuse("fault \"" + specification + "\": a trace names only those in the program's calls");
    }
}

bool CReader::TakeRecording(std::string_view text)
{
    const auto without = [text](std::string_view beginning) { return text.substr(beginning.size()); };
    if (text.starts_with(TraceWord::c_About)) {
        m_Trace.remarks.push_back({m_At, std::string(without(TraceWord::c_About))});
    } else if (text.starts_with(TraceWord::c_File)) {
        m_Trace.files.push_back(ReadTraceAccess(without(TraceWord::c_File), m_At, m_Repeats));
    } else if (const auto* const pRecording = std::ranges::find(TraceWord::c_Recordings, text);
               pRecording != TraceWord::c_Recordings.end()) {
        m_Trace.recording = static_cast<Recording>(pRecording - TraceWord::c_Recordings.begin());
    } else {
        return false;
    }
    return true;
}

void CReader::Complete()
{
    if (!m_Entry) {
        return;
    }
    m_At = m_Entry->number;
    const Direction_T& direction = *FindDirection(m_Entry->direction);
    const std::size_t size = m_Entry->bytes.values.size();
    if (m_Entry->count.value_or(size) != size) {
        Refuse("the count is " + std::to_string(*m_Entry->count) + ", but there are " + std::to_string(size) +
               " bytes");
    }
    if (m_Entry->error != 0 && !direction.mayFail) {
        Refuse("only an image, ioctl or write can fail");
    }
    if ((m_Entry->delay.count() != 0 || m_Entry->pace != Pace::AtOnce) && !direction.mayBeLate) {
        Refuse("only a reply, more or unasked can come late, bytewise or slow");
    }
    if (!m_Entry->checksum.empty() && !direction.isOfDevice) {
        Refuse("only a fill, reply, more or unasked has a checksum");
    }
    (this->*direction.add)();
    m_Entry.reset();
}

void CReader::AddOperation()
{
    const auto kind = static_cast<Kind>(std::ranges::find(TraceWord::c_Operations, m_Entry->direction) -
                                        TraceWord::c_Operations.begin());
    if (kind == Kind::Ioctl && !m_Entry->request) {
        Refuse("an ioctl needs a request");
    }
    if (kind != Kind::Unasked && m_Entry->taken && kind != Kind::Ioctl &&
        (kind != Kind::Write || *m_Entry->taken > m_Entry->bytes.values.size())) {
        Refuse("only a write reports a count, of at most its bytes, and an ioctl a value");
    }
    TraceOperation_T operation{.line = m_Entry->number,
                               .device = m_Entry->device,
                               .kind = kind,
                               .request = m_Entry->request.value_or(0),
                               .time = m_Entry->time};
    if (kind == Kind::Unasked) {
        PutReply(operation.outcome);
        AddReplyTimes(operation, 0);
    } else {
        operation.realTimes = m_Entry->times;
        operation.bytes = std::move(m_Entry->bytes);
        operation.places = std::move(m_Entry->places);
        operation.outcome = {.error = m_Entry->error, .meaning = m_Entry->text, .taken = m_Entry->taken};
    }
    Append(std::move(operation));
}

void CReader::Append(TraceOperation_T operation)
{
    if (m_Trace.operations.size() == c_MostOperations) {
        Refuse("more than " + std::to_string(c_MostOperations) + " operations");
    }
    if (!m_Trace.operations.empty()) {
        TraceOperation_T& before = m_Trace.operations.back();
        if (operation.time && before.time) {
            before.outcome.linkTime = *operation.time - *before.time;
        }
        if (before.outcome.linkTime.count() < 0) {
            Refuse("the time is earlier than that of the operation above");
        }
    }
    m_Trace.operations.push_back(std::move(operation));
}

void CReader::AddFill()
{
    TraceOperation_T& above = Above();
    above.outcome.fill = Sent();
    above.outcome.replyMeaning = m_Entry->text;
    if (above.outcome.fill.size() > above.bytes.values.size() ||
        (above.kind != Kind::Write && above.kind != Kind::Ioctl)) {
        Refuse("a fill must follow a write or an ioctl of at least as many bytes");
    }
}

void CReader::AddReply()
{
    TraceOperation_T& above = Above();
    if (above.kind == Kind::Unasked || !above.outcome.reply.empty()) {
        Refuse("a second reply to one operation");
    }
    PutReply(above.outcome);
    AddReplyTimes(above, 0);
}

void CReader::AddMore()
{
    TraceOperation_T& above = Above();
    Bytes_T& reply = above.outcome.reply;
    if (reply.empty() || m_Entry->bytes.values.empty()) {
        Refuse("more needs bytes, and a reply or unasked with bytes above it");
    }
    const std::size_t offset = reply.size();
    const Bytes_T bytes = Sent();
    reply.insert(reply.end(), bytes.begin(), bytes.end());
    above.outcome.morePieces.push_back({offset, m_Entry->delay});
    AddReplyTimes(above, offset);
}

void CReader::AddReplyTimes(TraceOperation_T& operation, std::size_t offset)
{
    if (m_Entry->times) {
        operation.replyTimes.push_back({m_Entry->number, offset, *m_Entry->times});
    }
}

void CReader::AddRefusal()
{
    TraceOperation_T& above = Above();
    above.outcome.refusals.push_back(m_Entry->text);
    above.outcome.faulted = m_Entry->direction == TraceWord::c_Excused;
}

void CReader::PutReply(DeviceOutcome_T& outcome)
{
    outcome.reply = Sent();
    outcome.replyMeaning = m_Entry->text;
    outcome.replyDelay = m_Entry->delay;
    outcome.pace = m_Entry->pace;
}

TraceOperation_T& CReader::Above()
{
    if (m_Trace.operations.empty() || m_Trace.operations.back().device != m_Entry->device) {
        Refuse(m_Entry->direction + " needs an operation on " + m_Entry->device + " above it");
    }
    return m_Trace.operations.back();
}

Bytes_T CReader::Sent()
{
    if (std::ranges::find(m_Entry->bytes.isOpen, true) != m_Entry->bytes.isOpen.end()) {
        Refuse("a byte that a device sends cannot be ??");
    }
    Bytes_T bytes = std::move(m_Entry->bytes.values);
    CheckChecksum(m_Entry->checksum, bytes);
    return bytes;
}

TraceFile_T CReader::Finish()
{
    Complete();
    if (m_Trace.unit.empty()) {
        m_At = m_Trace.lastLine + 1;
        Refuse("the trace ends before it names its unit");
    }
    return std::move(m_Trace);
}
} // namespace

std::size_t TraceOperation_T::LineOf(std::size_t offset) const
{
    const auto next = std::ranges::upper_bound(places, offset, {}, &TracePlace_T::offset);
    return next == places.begin() ? line : std::prev(next)->line;
}

std::string PlaceIn(const std::string& name, std::size_t line)
{
    return name + ":" + std::to_string(line) + ": ";
}

TraceFile_T ReadTrace(std::istream& stream, const std::string& name)
{
    CReader reader(name);
    try {
        for (std::string line; std::getline(stream, line);) {
            if (!stream.eof() || !reader.IsUnfinished()) { // otherwise it broke off in this line
                reader.Take(line);
            }
        }
        return reader.Finish();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(PlaceIn(name, reader.At()) + error.what());
    }
}

TraceFile_T ReadTraceFile(const std::filesystem::path& file)
{
    std::istringstream stream(ReadBounded(file, c_MostFileBytes));
    return ReadTrace(stream, file.string());
}
