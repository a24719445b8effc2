#include "station/results/Results.h"

#include "station/results/SampleCut.h"
#include "station/transcript/PrintableText.h"
#include "station/transcript/RunFile.h"
#include "tools/Program.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <openssl/sha.h>
#include <set>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::size_t c_MostWaiting = 500;
constexpr std::size_t c_MostWaitingBytes = std::size_t{16} << 20;
constexpr qint64 c_LargestFile = qint64{256} << 20;

QString KeyOf(QByteArrayView bytes)
{
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    ::SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<std::size_t>(bytes.size()),
             digest.data());
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char*>(digest.data()), digest.size()).toHex());
}

/// A text as the database has it: printable, so that any server takes it.
QString Text(const Bytes_T& bytes) { return PrintableText(bytes); }

QVariant TextOrNull(const Bytes_T& bytes) { return bytes.empty() ? QVariant() : QVariant(Text(bytes)); }

QVariant NumberOrNull(double number) { return std::isfinite(number) ? QVariant(number) : QVariant(); }

QVariant Whole(std::uint64_t number) { return static_cast<qlonglong>(number); }

QByteArray Blob(const Bytes_T& bytes) { return QByteArray::fromStdString(bytes); }

/// Ids of rows that differ in their texts. Rows are made as they are needed.
class CNames
{
public:
    CNames(CDatabase& database, const char* table, const QStringList& columns)
        : m_Database(database), m_Rows(database, table, static_cast<int>(columns.size()) + 1),
          m_Find(database.Prepare(
              u"SELECT id FROM %1 WHERE %2 = ?"_s.arg(QLatin1StringView(table), columns.join(u" = ? AND ")))),
          m_Next(database.Value(u"SELECT coalesce(max(id), 0) FROM %1"_s.arg(QLatin1StringView(table)))
                     .toLongLong())
    {
    }

    qlonglong IdOf(const QStringList& texts)
    {
        const auto [known, isNew] = m_Ids.try_emplace(texts, 0);
        if (isNew) {
            QVariantList row;
            for (const QString& text : texts) {
                m_Find.bindValue(static_cast<int>(row.size()), text);
                row.append(text);
            }
            m_Database.Execute(m_Find);
            if (m_Find.next()) {
                known->second = m_Find.value(0).toLongLong();
            } else {
                known->second = ++m_Next;
                m_Rows.Add(QVariantList{known->second} + row);
            }
            m_Find.finish();
        }
        return known->second;
    }
    void Flush() { m_Rows.Flush(); }

private:
    CDatabase& m_Database;
    CRows m_Rows;
    QSqlQuery m_Find;
    qlonglong m_Next;
    std::map<QStringList, qlonglong> m_Ids;
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
        Attempt_T& attempt = m_File.attempts.emplace_back();
        attempt.run.firstLine = run.firstLine;
        attempt.run.lastLine = run.lastLine;
        attempt.run.command = run.command;
        attempt.run.outcome = run.outcome;
        attempt.run.reason = run.reason;
        attempt.run.measurements = run.measurements;
        attempt.run.limits = run.limits;
        attempt.setting = SettingOf(run);
    }

private:
    File_T& m_File;
};

/// The rows of a transaction.
class CImport::CStore
{
public:
    explicit CStore(CDatabase& database)
        : m_Units(database, "units", {u"serial_number"_s}), m_Stations(database, "stations", {u"name"_s}),
          m_Quantities(database, "quantities", {u"name"_s, u"unit"_s}), m_Runs(database, "runs", 13),
          m_Texts(database, "texts", 2), m_Attempts(database, "attempts", 8),
          m_Readings(database, "readings", 3), m_Limits(database, "limits", 8),
          m_Samples(database, "samples", 5),
          m_Run(database.Value(u"SELECT coalesce(max(id), 0) FROM runs"_s).toLongLong()),
          m_Attempt(database.Value(u"SELECT coalesce(max(id), 0) FROM attempts"_s).toLongLong())
    {
    }

    void Add(const File_T& file)
    {
        ++m_Run;
        const Record_T& record = file.record;
        m_Runs.Add({m_Run, file.key, m_Units.IdOf({Text(record.unit)}),
                    m_Stations.IdOf({Text(record.station)}), TextOrNull(record.start),
                    NumberOrNull(record.seconds), TextOrNull(record.operatorName), TextOrNull(record.product),
                    TextOrNull(record.host), Text(record.command),
                    record.status < 0 ? QVariant() : QVariant(record.status), record.isVerified ? 1 : 0,
                    Text(file.name)});
        m_Texts.Add({m_Run, Blob(file.text)});
        const qlonglong before = m_Attempt;
        for (const Attempt_T& attempt : file.attempts) {
            AddAttempt(attempt, ++m_Attempt - before);
        }
        for (const SampleCut_T& cut : file.samples) {
            const auto of = std::ranges::find_if(file.attempts, [&cut](const Attempt_T& attempt) {
                return cut.line >= attempt.run.firstLine && cut.line <= attempt.run.lastLine;
            });
            const auto index = std::min<std::ptrdiff_t>(
                of - file.attempts.begin(), static_cast<std::ptrdiff_t>(file.attempts.size()) - 1);
            m_Samples.Add({m_Run, before + index + 1, Whole(cut.place), QString::fromLatin1(cut.form),
                           Blob(cut.samples)});
        }
    }

    void Flush()
    {
        m_Units.Flush();
        m_Stations.Flush();
        m_Quantities.Flush();
        for (CRows* const pRows : {&m_Runs, &m_Texts, &m_Attempts, &m_Readings, &m_Limits, &m_Samples}) {
            pRows->Flush();
        }
    }

private:
    void AddAttempt(const Attempt_T& attempt, qlonglong number)
    {
        const Run_T& run = attempt.run;
        m_Attempts.Add({m_Attempt, m_Run, number, Whole(run.firstLine), Text(run.command),
                        Text(attempt.setting), QString::fromLatin1(NameOf(run.outcome)), Text(run.reason)});
        for (const Quantity_T& measurement : run.measurements) {
            const auto [name, isNew] = m_QuantityIds.try_emplace({measurement.name, measurement.unit}, 0);
            if (isNew) {
                name->second = m_Quantities.IdOf(
                    {QString::fromLatin1(measurement.name), QString::fromLatin1(measurement.unit)});
            }
            m_Readings.Add({m_Attempt, name->second, NumberOrNull(measurement.value)});
        }
        for (const LimitResult_T& result : run.limits) {
            m_Limits.Add({m_Attempt, Text(result.limit->measurement), NumberOrNull(result.limit->least),
                          NumberOrNull(result.limit->most), result.limit->margin,
                          result.fit == Fit::Absent ? QVariant() : NumberOrNull(result.value),
                          QString::fromLatin1(NameOf(result.fit)), Text(result.limit->note)});
        }
    }

    CNames m_Units;
    CNames m_Stations;
    CNames m_Quantities;
    std::map<std::pair<std::string_view, std::string_view>, qlonglong> m_QuantityIds; ///< by name and unit
    CRows m_Runs;
    CRows m_Texts;
    CRows m_Attempts;
    CRows m_Readings;
    CRows m_Limits;
    CRows m_Samples;
    qlonglong m_Run;
    qlonglong m_Attempt;
};

CImport::CImport(CDatabase& database, CLimits* pLimits)
    : m_Database(database), m_Limits(pLimits),
      m_FindKey(database.Prepare(u"SELECT id FROM runs WHERE sha256 = ?"_s))
{
}
CImport::~CImport() = default;

bool CImport::IsKnown(const QString& key)
{
    m_FindKey.bindValue(0, key);
    m_Database.Execute(m_FindKey);
    const bool isKnown = m_FindKey.next();
    m_FindKey.finish();
    return isKnown;
}

void CImport::Add(const Bytes_T& name)
{
    const auto leaveOut = [this, &name](std::uint64_t Imported_T::*count, const std::string& why) {
        ++(m_Imported.*count);
        PrintError(name + ": " + why);
    };
    QFile file;
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 ||
        !file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
        return leaveOut(&Imported_T::unreadable, std::strerror(errno));
    }
    if (file.size() > c_LargestFile) {
        return leaveOut(&Imported_T::unreadable, "larger than 256 MiB, the most that is read");
    }
    QByteArray bytes = file.read(c_LargestFile);
    if (file.error() != QFileDevice::NoError) {
        return leaveOut(&Imported_T::unreadable, file.errorString().toStdString());
    }
    if (!IsRunFile({bytes.data(), static_cast<std::size_t>(bytes.size())})) {
        return leaveOut(&Imported_T::foreign, "is not a run file");
    }
    File_T run;
    run.key = KeyOf(bytes);
    run.name = name;
    if (IsKnown(run.key)) {
        ++m_Imported.known;
        return;
    }
    CTextSource source({bytes.data(), static_cast<std::size_t>(bytes.size())});
    CMeasurer measurer({}); // so that no file depends on those before
    CAttempts attempts(run);
    ReadTranscript(name, source, attempts, {.pMeasurer = &measurer, .pLimits = m_Limits});
    if (IsBrokenOff(run.record)) {
        return leaveOut(&Imported_T::unfinished, "is broken off, or not finished");
    }
    run.text = CutSamples({bytes.data(), static_cast<std::size_t>(bytes.size())}, run.samples);
    m_Bytes += static_cast<std::size_t>(bytes.size());
    m_Waiting.push_back(std::move(run));
    if (m_Waiting.size() >= c_MostWaiting || m_Bytes >= c_MostWaitingBytes) {
        Store();
    }
}

Imported_T CImport::Finish()
{
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
        CStore store(m_Database);
        std::set<QString> keys;
        for (const File_T& file : m_Waiting) {
            // Another process may have stored it since.
            if (!keys.insert(file.key).second || IsKnown(file.key)) {
                ++m_Imported.known;
                continue;
            }
            store.Add(file);
            ++m_Imported.added;
        }
        store.Flush();
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
        if (KeyOf({bytes.data(), static_cast<qsizetype>(bytes.size())}) != file.value(1).toString()) {
            throw std::runtime_error("run " + std::to_string(run) + " of the database is damaged");
        }
        onFile(file.value(0).toString().toStdString(), bytes);
        file.finish();
        samples.finish();
    }
}
