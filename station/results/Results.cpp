#include "station/results/Results.h"

#include "station/results/SampleCut.h"
#include "station/transcript/PrintableText.h"
#include "station/transcript/RunFile.h"
#include "tools/BoundedFile.h"
#include "tools/Program.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <stdexcept>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::size_t c_MostWaiting = 4000;
constexpr std::size_t c_MostWaitingBytes = std::size_t{16} << 20;
constexpr std::size_t c_LargestFile = std::size_t{256} << 20;
constexpr std::size_t c_SmallestRoom = std::size_t{64} << 10;
constexpr std::size_t c_LargestKeptRoom = std::size_t{256} << 10;

QByteArray KeyOf(std::string_view bytes)
{
    // To look the method up takes as long as the key of a short file.
    static const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> method(
        EVP_MD_fetch(nullptr, "SHA256", nullptr), &EVP_MD_free);
    QByteArray key(SHA256_DIGEST_LENGTH, Qt::Uninitialized);
    if (EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(key.data()), nullptr,
                   method.get(), nullptr) != 1) {
        throw std::runtime_error("the key of a run file cannot be made");
    }
    return key;
}

/// A text as the database has it: printable, so that any server takes it.
QString Text(const Bytes_T& bytes) { return PrintableText(bytes); }

QVariant TextOrNull(const Bytes_T& bytes) { return bytes.empty() ? QVariant() : QVariant(Text(bytes)); }

QVariant NumberOrNull(double number) { return std::isfinite(number) ? QVariant(number) : QVariant(); }

QVariant Whole(std::uint64_t number) { return static_cast<qlonglong>(number); }

/// Without a copy: the bytes must stay until the row is in the database.
QByteArray Blob(const Bytes_T& bytes)
{
    return QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

void LeaveOut(std::uint64_t& count, const Bytes_T& file, const std::string& why)
{
    ++count;
    PrintError(file + ": " + why);
}

qlonglong LastId(CDatabase& database, const char* table)
{
    return database.Value(u"SELECT coalesce(max(id), 0) FROM %1"_s.arg(QLatin1StringView(table)))
        .toLongLong();
}

/// Ids of rows that differ in their texts. Rows are made as they are needed.
class CNames
{
public:
    CNames(CDatabase& database, const char* table, const QStringList& columns)
        : m_Database(database), m_Table(table), m_Rows(database, table, static_cast<int>(columns.size()) + 1),
          m_Find(database.Prepare(
              u"SELECT id FROM %1 WHERE %2 = ?"_s.arg(QLatin1StringView(table), columns.join(u" = ? AND "))))
    {
    }

    /// In a transaction, before its first id. Forgets the ids, which could be of a transaction that was
    /// rolled back, and which would be those of all units in the end.
    void Begin()
    {
        m_Ids.clear();
        m_Last = LastId(m_Database, m_Table);
    }

    qlonglong IdOf(const QStringList& texts)
    {
        if (const auto known = m_Ids.constFind(texts); known != m_Ids.cend()) {
            return *known;
        }
        for (qsizetype i = 0; i < texts.size(); ++i) {
            m_Find.bindValue(static_cast<int>(i), texts[i]);
        }
        m_Database.Execute(m_Find);
        const bool isThere = m_Find.next();
        const qlonglong id = isThere ? m_Find.value(0).toLongLong() : ++m_Last;
        m_Find.finish();
        if (!isThere) {
            m_Rows.AddList(QVariantList{id} + QVariantList(texts.begin(), texts.end()));
        }
        m_Ids.insert(texts, id);
        return id;
    }
    void Flush() { m_Rows.Flush(); }

private:
    CDatabase& m_Database;
    const char* m_Table;
    CRows m_Rows;
    QSqlQuery m_Find;
    qlonglong m_Last = 0; ///< the largest id of the table
    QHash<QStringList, qlonglong> m_Ids;
};
} // namespace

/// Collects the judged runs of a file.
class CImport::CAttempts : public IRunWriter
{
public:
    explicit CAttempts(File_T& file) : m_File(file) {}
    void Write(const Run_T& run) override
    {
        m_File.record = run.record;
        m_File.attempts.push_back({.firstLine = run.firstLine,
                                   .lastLine = run.lastLine,
                                   .command = run.command,
                                   .setting = SettingOf(run),
                                   .outcome = run.outcome,
                                   .reason = run.reason,
                                   .measurements = run.measurements,
                                   .limits = run.limits});
    }

private:
    File_T& m_File;
};

/// The rows of a transaction.
class CImport::CStore
{
public:
    explicit CStore(CDatabase& database)
        : m_Database(database), m_Units(database, "units", {u"serial_number"_s}),
          m_Stations(database, "stations", {u"name"_s}),
          m_Quantities(database, "quantities", {u"name"_s, u"unit"_s}), m_Runs(database, "runs", 13),
          m_Texts(database, "texts", 2), m_Attempts(database, "attempts", 9), m_Limits(database, "limits", 8),
          m_Samples(database, "samples", 5), m_Run(LastId(database, "runs"))
    {
    }

    /// After the beginning of the transaction: another process may have stored runs since the last one.
    /// @return whether one did
    bool Begin()
    {
        for (CNames* const pNames : {&m_Units, &m_Stations, &m_Quantities}) {
            pNames->Begin();
        }
        m_QuantityIds.clear();
        m_Attempt = LastId(m_Database, "attempts");
        const qlonglong known = std::exchange(m_Run, LastId(m_Database, "runs"));
        return m_Run != known;
    }

    void Add(const File_T& file)
    {
        ++m_Run;
        const Record_T& record = file.record;
        m_Runs.Add(m_Run, file.key, m_Units.IdOf({Text(record.unit)}),
                   m_Stations.IdOf({Text(record.station)}), TextOrNull(record.start),
                   NumberOrNull(record.seconds), TextOrNull(record.operatorName), TextOrNull(record.product),
                   TextOrNull(record.host), Text(record.command),
                   record.status < 0 ? QVariant() : QVariant(record.status), record.isVerified ? 1 : 0,
                   Text(file.name));
        m_Texts.Add(m_Run, Blob(file.text));
        const qlonglong before = m_Attempt;
        for (const Attempt_T& attempt : file.attempts) {
            AddAttempt(attempt, ++m_Attempt - before);
        }
        for (const SampleCut_T& cut : file.samples) {
            const auto of = std::ranges::find_if(file.attempts, [&cut](const Attempt_T& attempt) {
                return cut.line >= attempt.firstLine && cut.line <= attempt.lastLine;
            });
            const auto index = std::min<std::ptrdiff_t>(
                of - file.attempts.begin(), static_cast<std::ptrdiff_t>(file.attempts.size()) - 1);
            m_Samples.Add(m_Run, before + index + 1, Whole(cut.place), QString::fromLatin1(cut.form),
                          Blob(cut.samples));
        }
    }

    void Flush()
    {
        m_Units.Flush();
        m_Stations.Flush();
        m_Quantities.Flush();
        for (CRows* const pRows : {&m_Runs, &m_Texts, &m_Attempts, &m_Limits, &m_Samples}) {
            pRows->Flush();
        }
    }

private:
    void AddAttempt(const Attempt_T& attempt, qlonglong number)
    {
        m_Attempts.Add(m_Attempt, m_Run, number, Whole(attempt.firstLine), Text(attempt.command),
                       Text(attempt.setting), QString::fromLatin1(NameOf(attempt.outcome)),
                       Text(attempt.reason), Readings(attempt));
        for (const LimitResult_T& result : attempt.limits) {
            m_Limits.Add(m_Attempt, Text(result.limit->measurement), NumberOrNull(result.limit->least),
                         NumberOrNull(result.limit->most), result.limit->margin,
                         result.fit == Fit::Absent ? QVariant() : NumberOrNull(result.value),
                         QString::fromLatin1(NameOf(result.fit)), Text(result.limit->note));
        }
    }

    /// Pairs of a quantity's id and a value, as JSON.
    QString Readings(const Attempt_T& attempt)
    {
        std::string text;
        for (const Quantity_T& measurement : attempt.measurements) {
            const auto [name, isNew] = m_QuantityIds.try_emplace({measurement.name, measurement.unit}, 0);
            if (isNew) {
                name->second = m_Quantities.IdOf(
                    {QString::fromLatin1(measurement.name), QString::fromLatin1(measurement.unit)});
            }
            std::array<char, 64> pair; // enough for the digits of both numbers
            char* pTo = pair.data();
            *pTo++ = text.empty() ? '[' : ',';
            *pTo++ = '[';
            pTo = std::to_chars(pTo, pair.end(), name->second).ptr;
            *pTo++ = ',';
            if (std::isfinite(measurement.value)) {
                pTo = std::to_chars(pTo, pair.end(), measurement.value).ptr;
            } else {
                pTo = std::ranges::copy(std::string_view("null"), pTo).out;
            }
            *pTo++ = ']';
            text.append(pair.data(), pTo);
        }
        return text.empty() ? u"[]"_s : QString::fromLatin1(text) + u']';
    }

    CDatabase& m_Database;
    CNames m_Units;
    CNames m_Stations;
    CNames m_Quantities;
    std::map<std::pair<std::string_view, std::string_view>, qlonglong> m_QuantityIds; ///< by name and unit
    CRows m_Runs;
    CRows m_Texts;
    CRows m_Attempts;
    CRows m_Limits;
    CRows m_Samples;
    qlonglong m_Run; ///< the last id
    qlonglong m_Attempt = 0;
};

CImport::CImport(CDatabase& database, CLimits* pLimits)
    : m_Database(database), m_Limits(pLimits),
      m_FindKeys(database.Prepare(
          u"SELECT sha256 FROM runs WHERE sha256 IN (%1)"_s.arg(Placeholders(c_MostFound).join(u',')))),
      m_Store(std::make_unique<CStore>(database)), m_Measurer({})
{
}
CImport::~CImport() = default;

/// Those of some keys that are in the database.
QSet<QByteArray> CImport::Known(std::span<const QByteArray> keys)
{
    static const QStringList names = Placeholders(c_MostFound);
    QSet<QByteArray> known;
    while (!keys.empty()) {
        const auto some = keys.first(std::min(keys.size(), c_MostFound));
        for (std::size_t i = 0; i < c_MostFound; ++i) {
            m_FindKeys.bindValue(names[static_cast<qsizetype>(i)], some[std::min(i, some.size() - 1)]);
        }
        m_Database.Execute(m_FindKeys);
        while (m_FindKeys.next()) {
            known.insert(m_FindKeys.value(0).toByteArray());
        }
        m_FindKeys.finish();
        keys = keys.subspan(some.size());
    }
    return known;
}

/// The bytes of a file; nothing if it cannot be read, with a message.
/// @param room  for them, not made smaller
std::optional<std::string_view> CImport::Read(const Bytes_T& name, Bytes_T& room)
{
    const CDescriptor descriptor(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    std::string failure = descriptor.Get() < 0 ? std::strerror(errno) : "";
    CFileSource file(descriptor.Get());
    std::size_t size = 0;
    for (std::size_t got = 1; failure.empty() && got != 0; size += got) {
        room.resize(std::max({room.size(), c_SmallestRoom, size == room.size() ? 2 * size : 0}));
        got = file.Read(std::span(room).subspan(size));
        failure = size > c_LargestFile ? "larger than 256 MiB, the most that is read" : file.Failure();
    }
    if (!failure.empty()) {
        LeaveOut(m_Imported.unreadable, name, failure);
        return std::nullopt;
    }
    return std::string_view(room).substr(0, size);
}

void CImport::Add(const Bytes_T& name)
{
    Found_T& found = m_Found[m_FoundCount];
    const std::optional<std::string_view> bytes = Read(name, found.room);
    if (!bytes) {
        return;
    }
    if (!IsRunFile(*bytes)) {
        return LeaveOut(m_Imported.foreign, name, "is not a run file");
    }
    found.name = name;
    found.bytes = *bytes;
    m_FoundKeys.push_back(KeyOf(*bytes));
    if (++m_FoundCount == m_Found.size() || found.room.size() > c_LargestKeptRoom) {
        Sift();
    }
}

/// Judges the files that were found, and are not in the database.
void CImport::Sift()
{
    const QSet<QByteArray> known = Known(m_FoundKeys);
    for (std::size_t i = 0; i < m_FoundCount; ++i) {
        if (known.contains(m_FoundKeys[i])) {
            ++m_Imported.known;
        } else {
            Judge(m_FoundKeys[i], m_Found[i]);
        }
    }
    if (m_FoundCount != 0 && m_Found[m_FoundCount - 1].room.size() > c_LargestKeptRoom) {
        m_Found[m_FoundCount - 1].room = Bytes_T();
    }
    m_FoundKeys.clear();
    m_FoundCount = 0;
    // Not before: Store() looks again only for those that are waiting.
    if (m_Waiting.size() >= c_MostWaiting || m_Bytes >= c_MostWaitingBytes) {
        Store();
    }
}

void CImport::Judge(const QByteArray& key, const Found_T& found)
{
    File_T run;
    run.key = key;
    run.name = found.name;
    CTextSource source(found.bytes);
    CAttempts attempts(run);
    m_Measurer.Forget(); // so that no file depends on those before
    ReadTranscript(found.name, source, attempts, {.pMeasurer = &m_Measurer, .pLimits = m_Limits});
    if (IsBrokenOff(run.record)) {
        return LeaveOut(m_Imported.unfinished, found.name, "is broken off, or not finished");
    }
    run.text = CutSamples(found.bytes, run.samples);
    m_Bytes += found.bytes.size();
    m_Waiting.push_back(std::move(run));
}

Imported_T CImport::Finish()
{
    Sift();
    Store();
    return m_Imported;
}

void CImport::Store()
{
    if (m_Waiting.empty()) {
        return;
    }
    m_Database.Begin();
    try {
        QSet<QByteArray> known;
        if (m_Store->Begin()) {
            std::vector<QByteArray> keys;
            std::ranges::transform(m_Waiting, std::back_inserter(keys), &File_T::key);
            known = Known(keys);
        }
        for (const File_T& file : m_Waiting) {
            if (known.contains(file.key)) {
                ++m_Imported.known;
                continue;
            }
            known.insert(file.key);
            m_Store->Add(file);
            ++m_Imported.added;
        }
        m_Store->Flush();
    } catch (...) {
        m_Database.Rollback();
        throw;
    }
    m_Database.Commit();
    m_Waiting.clear();
    m_Bytes = 0;
}

Conditions_T ConditionsOf(const RunFilter_T& filter)
{
    Conditions_T conditions;
    const auto where = [&conditions](const char* condition, const QString& value) {
        if (!value.isEmpty()) {
            conditions.text += u" AND "_s + QLatin1StringView(condition);
            conditions.values.append(value);
        }
    };
    where("units.serial_number = ?", QString::fromStdString(HeaderValue(filter.unit)));
    where("stations.name = ?", QString::fromStdString(HeaderValue(filter.station)));
    where("runs.product = ?", QString::fromStdString(HeaderValue(filter.product)));
    where("runs.start >= ?", Text(filter.since));
    where("runs.start < ?", Text(filter.until));
    return conditions;
}

void ReadRunFiles(CDatabase& database, const RunFilter_T& filter,
                  const std::function<void(const Bytes_T& name, const Bytes_T& bytes)>& onFile)
{
    Conditions_T conditions = ConditionsOf(filter);
    if (!filter.command.empty()) {
        conditions.text += u" AND runs.id IN (SELECT run_id FROM attempts WHERE attempts.command = ?)"_s;
        conditions.values.append(Text(filter.command));
    }
    QSqlQuery query = database.Ask(u"SELECT runs.id FROM runs JOIN units ON units.id = unit_id"
                                   " JOIN stations ON stations.id = station_id WHERE 1 = 1"_s +
                                       conditions.text + u" ORDER BY "_s +
                                       database.InOrderOfBytes(u"file"_s) + u", runs.id"_s,
                                   conditions.values);
    std::vector<qlonglong> runs;
    while (query.next()) {
        runs.push_back(query.value(0).toLongLong());
    }
    QSqlQuery file =
        database.Prepare(u"SELECT file, sha256, text FROM runs JOIN texts ON run_id = id WHERE id = ?"_s);
    QSqlQuery samples =
        database.Prepare(u"SELECT place, form, samples FROM samples WHERE run_id = ? ORDER BY place"_s);
    for (const qlonglong run : runs) {
        file.bindValue(0, run);
        database.Execute(file);
        if (!file.next()) {
            throw std::runtime_error("run " + std::to_string(run) + " of the database has no text");
        }
        const QByteArray text = file.value(2).toByteArray();
        Bytes_T bytes;
        qsizetype place = 0;
        samples.bindValue(0, run);
        database.Execute(samples);
        while (samples.next()) {
            const qsizetype next =
                std::clamp(static_cast<qsizetype>(samples.value(0).toLongLong()), place, text.size());
            bytes.append(text.data() + place, static_cast<std::size_t>(next - place));
            place = next;
            const QByteArray block = samples.value(2).toByteArray();
            AppendSamples(bytes, samples.value(1).toString().toStdString(),
                          {block.data(), static_cast<std::size_t>(block.size())});
        }
        bytes.append(text.data() + place, static_cast<std::size_t>(text.size() - place));
        if (KeyOf(bytes) != file.value(1).toByteArray()) {
            throw std::runtime_error("run " + std::to_string(run) + " of the database is damaged");
        }
        onFile(file.value(0).toString().toStdString(), bytes);
        file.finish();
        samples.finish();
    }
}
