// What it costs at least to read transcripts and write their lines and samples: a plain program that knows
// nothing of runs. scripts/budgets compares sonarbench-station with it. Usage: sonarbench-transcripts
// json|csv FILE

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace
{
constexpr std::string_view c_Begin = "<SonarFPGAData>";
constexpr std::string_view c_End = "<EndSonarFPGAData>";
constexpr std::size_t c_Chunk = std::size_t{256} * 1024;
constexpr std::size_t c_Digits = 3;

using Samples_T = std::vector<std::int32_t>;

void ReadSamples(std::string_view text, Samples_T& samples)
{
    samples.clear();
    const char* const end = text.data() + text.size();
    const bool hasCommas = text.find(',') != std::string_view::npos;
    for (const char* from = text.data(); from < end;) {
        std::int32_t value = 0;
        const char* const limit = hasCommas || end - from < 3 ? end : from + c_Digits;
        const char* const stop = std::from_chars(from, limit, value).ptr;
        if (stop == from) {
            return;
        }
        samples.push_back(value);
        from = stop + (hasCommas ? 1 : 0);
    }
}

class COutput
{
public:
    ~COutput() { Write(); }

    void Text(std::string_view text)
    {
        Reserve(text.size());
        std::memcpy(m_pTo, text.data(), text.size());
        m_pTo += text.size();
    }
    void Number(std::uint64_t number)
    {
        constexpr std::size_t longest = 20;
        Reserve(longest);
        m_pTo = std::to_chars(m_pTo, m_Buffer.data() + m_Buffer.size(), number).ptr;
    }
    void Samples(const Samples_T& samples, char separator)
    {
        constexpr std::size_t longest = 12;
        Reserve(samples.size() * longest);
        for (const std::int32_t sample : samples) {
            m_pTo = std::to_chars(m_pTo, m_Buffer.data() + m_Buffer.size(), sample).ptr;
            *m_pTo++ = separator;
        }
        m_pTo -= samples.empty() ? 0 : 1;
    }
    void Quoted(std::string_view text)
    {
        Reserve(text.size() * 6);
        for (const char character : text) {
            if (character == '"' || character == '\\') {
                *m_pTo++ = '\\';
                *m_pTo++ = character;
            } else if (static_cast<unsigned char>(character) < ' ') {
                m_pTo += std::snprintf(m_pTo, 7, "\\u%04x", static_cast<unsigned int>(character));
            } else {
                *m_pTo++ = character;
            }
        }
    }

private:
    void Reserve(std::size_t size)
    {
        if (static_cast<std::size_t>(m_Buffer.data() + m_Buffer.size() - m_pTo) < size) {
            Write();
            m_Buffer.resize(std::max(m_Buffer.size(), size));
            m_pTo = m_Buffer.data();
        }
    }
    void Write()
    {
        for (const char* from = m_Buffer.data(); from < m_pTo;) {
            const ssize_t written = ::write(STDOUT_FILENO, from, static_cast<std::size_t>(m_pTo - from));
            from = written > 0 ? from + written : m_pTo;
        }
        m_pTo = m_Buffer.data();
    }

    std::vector<char> m_Buffer = std::vector<char>(c_Chunk);
    char* m_pTo = m_Buffer.data();
};

/// The samples of a line that holds some.
bool IsPing(std::string_view line, Samples_T& samples)
{
    if (!line.starts_with(c_Begin) || !line.ends_with(c_End)) {
        return false;
    }
    line.remove_prefix(c_Begin.size());
    line.remove_suffix(c_End.size());
    ReadSamples(line, samples);
    return true;
}

class CJson
{
public:
    void Take(std::uint64_t number, std::string_view line)
    {
        m_Output.Text("{\"line\":");
        m_Output.Number(number);
        if (IsPing(line, m_Samples)) {
            m_Output.Text(",\"samples\":[");
            m_Output.Samples(m_Samples, ',');
            m_Output.Text("]}\n");
        } else {
            m_Output.Text(",\"text\":\"");
            m_Output.Quoted(line);
            m_Output.Text("\"}\n");
        }
    }

private:
    COutput m_Output;
    Samples_T m_Samples;
};

class CCsv
{
public:
    void Take(std::uint64_t number, std::string_view line)
    {
        if (IsPing(line, m_Samples)) {
            m_Output.Number(number);
            m_Output.Text(",");
            m_Output.Samples(m_Samples, ' ');
            m_Output.Text("\r\n");
        }
    }

private:
    COutput m_Output;
    Samples_T m_Samples;
};

template <class Writer>
bool ReadLines(int file)
{
    Writer writer;
    std::vector<char> buffer(c_Chunk);
    std::size_t kept = 0;
    std::uint64_t number = 0;
    for (;;) {
        if (kept == buffer.size()) {
            buffer.resize(buffer.size() * 2);
        }
        const ssize_t got = ::read(file, buffer.data() + kept, buffer.size() - kept);
        if (got <= 0) {
            return got == 0;
        }
        const char* from = buffer.data();
        const char* const end = from + kept + got;
        while (const void* const pEnd = std::memchr(from, '\n', static_cast<std::size_t>(end - from))) {
            const auto* const lineEnd = static_cast<const char*>(pEnd);
            writer.Take(++number, {from, static_cast<std::size_t>(lineEnd - from)});
            from = lineEnd + 1;
        }
        kept = static_cast<std::size_t>(end - from);
        std::memmove(buffer.data(), from, kept);
    }
}
} // namespace

int main(int argc, char** argv)
{
    const int file = argc == 3 ? ::open(argv[2], O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) {
        std::fputs("usage: sonarbench-transcripts json|csv FILE\n", stderr);
        return 2;
    }
    const bool isRead = std::string_view(argv[1]) == "json" ? ReadLines<CJson>(file) : ReadLines<CCsv>(file);
    ::close(file);
    return isRead ? 0 : 1;
}
