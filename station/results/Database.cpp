#include "station/results/Database.h"

#include <QSqlError>
#include <QUrl>
#include <QUrlQuery>

#include <chrono>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;

namespace
{
constexpr char c_Connection[] = "results";
constexpr int c_RowsAtOnce = 50;
constexpr std::chrono::milliseconds c_LongestWait(60'000);
/// Of the lock that importers hold on a server; any number that nobody else uses there.
constexpr int c_Lock = 1'937'011;

/// Words of a statement that both kinds of database write differently.
struct Word_T {
    const char* word;
    const char* inFile;
    const char* onServer;
};
constexpr Word_T c_Words[] = {
    {"{bytes}", "BLOB", "BYTEA"},
    {"{number}", "REAL", "DOUBLE PRECISION"},
    {"{whole}", "INTEGER", "BIGINT"},
    {"{time}", "TEXT", "TIMESTAMPTZ"},
    {"{json}", "TEXT", "JSON"},
    // SQLite's own JSON functions would keep only 15 digits.
    {"{pairs}",
     "'[' || group_concat('[' || quantity_id || ',' ||"
     " coalesce(printf('%!.17g', value), 'null') || ']') || ']'",
     "json_agg(json_build_array(quantity_id, value))"},
    // SQLite 3.40 has no unhex(), and keeps bytes in a column of any type.
    {"{keys as bytes}",
     "UPDATE runs SET sha256 = (WITH RECURSIVE digits(place) AS"
     " (VALUES (1) UNION ALL SELECT place + 2 FROM digits WHERE place < 63)"
     " SELECT CAST(group_concat(substr({all bytes}, 1 +"
     " 16 * (instr('0123456789abcdef', substr(sha256, place, 1)) - 1) +"
     " instr('0123456789abcdef', substr(sha256, place + 1, 1)) - 1, 1), '') AS BLOB)"
     " FROM digits)",
     "ALTER TABLE runs ALTER COLUMN sha256 TYPE BYTEA USING decode(sha256, 'hex')"},
    {"{readings}", "json_each(attempts.readings) AS reading",
     "LATERAL json_array_elements(attempts.readings) AS reading (value)"}};

/// What leads from each version to the next one. A version that was released is never changed.
const std::vector<QStringList>& Migrations()
{
    static const std::vector<QStringList> steps = {
        {
            u"CREATE TABLE units (id {whole} PRIMARY KEY, serial_number TEXT NOT NULL UNIQUE)"_s,
            u"CREATE TABLE stations (id {whole} PRIMARY KEY, name TEXT NOT NULL UNIQUE)"_s,
            u"CREATE TABLE runs (id {whole} PRIMARY KEY, sha256 TEXT NOT NULL UNIQUE,"
            " unit_id {whole} NOT NULL REFERENCES units DEFERRABLE INITIALLY DEFERRED,"
            " station_id {whole} NOT NULL REFERENCES stations DEFERRABLE INITIALLY DEFERRED,"
            " start {time}, seconds {number}, operator TEXT, product TEXT, host TEXT, command TEXT NOT NULL,"
            " status {whole}, serial_number_verified {whole} NOT NULL, file TEXT NOT NULL)"_s,
            u"CREATE TABLE texts (run_id {whole} PRIMARY KEY REFERENCES runs DEFERRABLE INITIALLY DEFERRED,"
            " text {bytes} NOT NULL)"_s,
            u"CREATE TABLE attempts (id {whole} PRIMARY KEY,"
            " run_id {whole} NOT NULL REFERENCES runs DEFERRABLE INITIALLY DEFERRED,"
            " number {whole} NOT NULL, first_line {whole} NOT NULL, command TEXT NOT NULL,"
            " setting TEXT NOT NULL, outcome TEXT NOT NULL, reason TEXT NOT NULL)"_s,
            u"CREATE TABLE quantities (id {whole} PRIMARY KEY, name TEXT NOT NULL, unit TEXT NOT NULL,"
            " UNIQUE (name, unit))"_s,
            u"CREATE TABLE readings ("
            " attempt_id {whole} NOT NULL REFERENCES attempts DEFERRABLE INITIALLY DEFERRED,"
            " quantity_id {whole} NOT NULL REFERENCES quantities DEFERRABLE INITIALLY DEFERRED,"
            " value {number})"_s,
            u"CREATE VIEW measurements AS SELECT attempt_id, name, value, unit"
            " FROM readings JOIN quantities ON quantities.id = quantity_id"_s,
            u"CREATE TABLE limits ("
            " attempt_id {whole} NOT NULL REFERENCES attempts DEFERRABLE INITIALLY DEFERRED,"
            " measurement TEXT NOT NULL, least {number}, most {number}, margin {number}, value {number},"
            " fit TEXT NOT NULL, note TEXT NOT NULL)"_s,
            u"CREATE TABLE samples (run_id {whole} NOT NULL REFERENCES runs DEFERRABLE INITIALLY DEFERRED,"
            " attempt_id {whole} NOT NULL REFERENCES attempts DEFERRABLE INITIALLY DEFERRED,"
            " place {whole} NOT NULL, form TEXT NOT NULL, samples {bytes} NOT NULL)"_s,
        },
        {
            u"CREATE INDEX runs_of_unit ON runs (unit_id, start)"_s,
            u"CREATE INDEX runs_by_start ON runs (start)"_s,
            u"CREATE INDEX attempts_of_run ON attempts (run_id)"_s,
            u"CREATE INDEX readings_of_attempt ON readings (attempt_id)"_s,
            u"CREATE INDEX limits_of_attempt ON limits (attempt_id)"_s,
            u"CREATE INDEX samples_of_run ON samples (run_id)"_s,
        },
        {
            // A row for each reading took a third of the time of an import.
            u"ALTER TABLE attempts ADD COLUMN readings {json} NOT NULL DEFAULT '[]'"_s,
            u"UPDATE attempts SET readings = (SELECT {pairs} FROM readings WHERE attempt_id = attempts.id)"
            " WHERE id IN (SELECT attempt_id FROM readings)"_s,
            u"DROP VIEW measurements"_s,
            u"DROP TABLE readings"_s,
            u"CREATE VIEW measurements AS SELECT attempts.id AS attempt_id, quantities.name AS name,"
            " CAST(reading.value ->> 1 AS {number}) AS value, quantities.unit AS unit"
            " FROM attempts CROSS JOIN {readings}"
            " JOIN quantities ON quantities.id = CAST(reading.value ->> 0 AS {whole})"_s,
        },
        {
            // Half as many bytes for the one index that grows everywhere at once.
            u"{keys as bytes}"_s,
        },
    };
    return steps;
}

/// A literal with the 256 bytes in their order.
QString AllBytes()
{
    QByteArray bytes(256, Qt::Uninitialized);
    std::iota(bytes.begin(), bytes.end(), '\0');
    return u"x'%1'"_s.arg(QLatin1StringView(bytes.toHex()));
}

bool IsServer(const QUrl& url) { return url.scheme() == u"postgresql" || url.scheme() == u"postgres"; }
} // namespace

CDatabase::CDatabase(const std::string& url)
{
    try {
        Open(url);
        Migrate();
    } catch (...) {
        m_Connection = {};
        QSqlDatabase::removeDatabase(QString::fromLatin1(c_Connection));
        throw;
    }
}

CDatabase::~CDatabase()
{
    m_Connection.close();
    m_Connection = {};
    QSqlDatabase::removeDatabase(QString::fromLatin1(c_Connection));
}

void CDatabase::Open(const std::string& url)
{
    const QString text = QString::fromStdString(url);
    const QUrl server(text);
    m_IsServer = IsServer(server);
    if (!server.password().isEmpty()) {
        throw std::runtime_error(
            "the database's URL has a password, which others can see; put it into the file "
            "of PGPASSFILE");
    }
    m_Shown = m_IsServer ? server.toDisplayString() : text;
    m_Connection =
        QSqlDatabase::addDatabase(m_IsServer ? u"QPSQL"_s : u"QSQLITE"_s, QString::fromLatin1(c_Connection));
    if (!m_Connection.isValid()) {
        throw std::runtime_error(m_Shown.toStdString() +
                                 ": Qt's driver for this kind of database is missing");
    }
    if (m_IsServer) {
        const QString host = QUrlQuery(server).queryItemValue(u"host"_s, QUrl::FullyDecoded);
        m_Connection.setHostName(host.isEmpty() ? server.host() : host);
        m_Connection.setPort(server.port());
        m_Connection.setUserName(server.userName());
        m_Connection.setDatabaseName(server.path().mid(1));
        m_Connection.setConnectOptions(u"connect_timeout=10;application_name=sonarbench-station"_s);
    } else {
        m_Connection.setDatabaseName(text);
        m_Connection.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=%1"_s.arg(c_LongestWait.count()));
    }
    if (!m_Connection.open()) {
        throw std::runtime_error(m_Shown.toStdString() + ": " +
                                 m_Connection.lastError().text().toStdString());
    }
    if (!m_IsServer) {
        // For a new file: an echo of 1,024 samples leaves much of a smaller page empty. Then KiB of pages in
        // memory.
        Value(u"PRAGMA page_size=16384"_s);
        Value(u"PRAGMA cache_size=-32768"_s);
        // SQLite does not wait here for another process that does the same.
        const auto end = std::chrono::steady_clock::now() + c_LongestWait;
        QSqlQuery mode(m_Connection);
        while (!mode.exec(u"PRAGMA journal_mode=WAL"_s) && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        Value(u"PRAGMA synchronous=NORMAL"_s);
    }
}

void CDatabase::Refuse(const QSqlQuery& query) const
{
    throw std::runtime_error(m_Shown.toStdString() + ": " + query.lastError().text().toStdString());
}

void CDatabase::Begin()
{
    Value(m_IsServer ? u"BEGIN"_s : u"BEGIN IMMEDIATE"_s);
    if (m_IsServer) {
        Value(u"SELECT pg_advisory_xact_lock(%1)"_s.arg(c_Lock));
    }
}

void CDatabase::BeginReading()
{
    Value(m_IsServer ? u"BEGIN ISOLATION LEVEL REPEATABLE READ"_s : u"BEGIN"_s);
}

void CDatabase::Commit() { Value(u"COMMIT"_s); }

void CDatabase::Rollback() noexcept { QSqlQuery(m_Connection).exec(u"ROLLBACK"_s); }

QSqlQuery CDatabase::Prepare(const QString& statement)
{
    QSqlQuery query(m_Connection);
    query.setForwardOnly(true);
    if (!query.prepare(statement)) {
        Refuse(query);
    }
    return query;
}

void CDatabase::Execute(QSqlQuery& query) const
{
    if (!query.exec()) {
        Refuse(query);
    }
}

QSqlQuery CDatabase::Ask(const QString& statement, const QVariantList& values)
{
    QSqlQuery query = Prepare(statement);
    for (const QVariant& value : values) {
        query.addBindValue(value);
    }
    Execute(query);
    return query;
}

QVariant CDatabase::Value(const QString& statement, const QVariantList& values)
{
    QSqlQuery query(m_Connection);
    if (values.isEmpty()) { // a server prepares only some kinds of statements
        if (!query.exec(statement)) {
            Refuse(query);
        }
        return query.next() ? query.value(0) : QVariant();
    }
    query = Ask(statement, values);
    return query.next() ? query.value(0) : QVariant();
}

QString CDatabase::InsertInto() const { return m_IsServer ? u"INSERT INTO"_s : u"INSERT OR FAIL INTO"_s; }

QString CDatabase::InOrderOfBytes(const QString& column) const
{
    return column + (m_IsServer ? u" COLLATE \"C\""_s : QString());
}

QString CDatabase::TimeText(const QString& column) const
{
    return m_IsServer
               ? u"to_char(%1 AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS.MS\"+00:00\"')"_s.arg(column)
               : column;
}

int CDatabase::Version()
{
    const QString table = m_IsServer ? u"SELECT count(*) FROM information_schema.tables WHERE table_name = "
                                       "'schema_version' AND table_schema = current_schema()"_s
                                     : u"SELECT count(*) FROM sqlite_master WHERE name = 'schema_version'"_s;
    return Value(table).toInt() == 0 ? -1 : Value(u"SELECT version FROM schema_version"_s).toInt();
}

void CDatabase::Migrate()
{
    const int newest = static_cast<int>(Migrations().size());
    int version = Version();
    if (version == newest) {
        return;
    }
    Begin();
    version = Version(); // another process may have done it
    if (version > newest) {
        throw std::runtime_error(m_Shown.toStdString() + ": made by a later version of sonarbench-station");
    }
    if (version < 0) {
        Value(u"CREATE TABLE schema_version (version INTEGER NOT NULL)"_s);
        Value(u"INSERT INTO schema_version VALUES (0)"_s);
        version = 0;
    }
    for (; version < newest; ++version) {
        for (QString statement : Migrations()[static_cast<std::size_t>(version)]) {
            for (const Word_T& word : c_Words) {
                statement.replace(QLatin1StringView(word.word),
                                  QLatin1StringView(m_IsServer ? word.onServer : word.inFile));
            }
            statement.replace(u"{all bytes}"_s, AllBytes());
            Value(statement);
        }
    }
    Value(u"UPDATE schema_version SET version = ?"_s, {version});
    Commit();
}

CRows::CRows(CDatabase& database, const char* table, int columns)
    : m_Database(database), m_Table(QString::fromLatin1(table)), m_Columns(columns), m_One(Prepared(1))
{
}

QStringList Placeholders(std::size_t count)
{
    QStringList names;
    for (std::size_t i = 0; i < count; ++i) {
        names += u":v%1"_s.arg(i);
    }
    return names;
}

QSqlQuery CRows::Prepared(int rows)
{
    m_Names = Placeholders(static_cast<std::size_t>(rows) * static_cast<std::size_t>(m_Columns));
    QStringList texts;
    for (qsizetype from = 0; from < qsizetype{rows} * m_Columns; from += m_Columns) {
        texts += m_Names.mid(from, m_Columns).join(u',');
    }
    return m_Database.Prepare(
        u"%1 %2 VALUES (%3)"_s.arg(m_Database.InsertInto(), m_Table, texts.join(u"),("_s)));
}

void CRows::InsertWhenFull()
{
    if (m_Values.size() == qsizetype{c_RowsAtOnce} * m_Columns) {
        if (!m_Many) {
            m_Many = Prepared(c_RowsAtOnce);
        }
        Insert(*m_Many, 0, m_Values.size());
        m_Values.clear();
    }
}

void CRows::Flush()
{
    for (qsizetype from = 0; from < m_Values.size(); from += m_Columns) {
        Insert(m_One, from, m_Columns);
    }
    m_Values.clear();
}

void CRows::Insert(QSqlQuery& query, qsizetype from, qsizetype values)
{
    for (qsizetype i = 0; i < values; ++i) {
        query.bindValue(m_Names[i], m_Values[from + i]);
    }
    m_Database.Execute(query);
}
