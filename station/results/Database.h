#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <string>
#include <vector>

/// The results database, of which docs/database.md has the tables. An SQLite file, or a database of a
/// PostgreSQL server. Each function throws std::runtime_error when the database refuses.
class CDatabase
{
public:
    /// Opens the database, makes its tables if they are missing, and brings older ones up to date.
    /// @param url  name of a file, or postgresql://[user@][host][:port][/name], without a password: the
    ///             server's library takes what is missing, also the password, from its usual places
    explicit CDatabase(const std::string& url);
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;
    ~CDatabase();

    /// Begins a transaction, when no other process has begun one here.
    void Begin();
    /// Begins a transaction in which nothing changes that others write.
    void BeginReading();
    void Commit();
    void Rollback() noexcept;

    /// A statement with a question mark for each value.
    QSqlQuery Prepare(const QString& statement);
    void Execute(QSqlQuery& query) const;
    /// The rows that a statement selects.
    QSqlQuery Ask(const QString& statement, const QVariantList& values);
    /// The first value of the first row, not valid when there is none.
    QVariant Value(const QString& statement, const QVariantList& values = {});
    /// ORDER BY this puts texts in the order of their bytes.
    QString InOrderOfBytes(const QString& column) const;
    /// A column with a time, as a text in the form of run files.
    QString TimeText(const QString& column) const;

private:
    void Open(const std::string& url);
    void Migrate();
    int Version();
    [[noreturn]] void Refuse(const QSqlQuery& query) const;

    QString m_Shown; ///< for messages
    bool m_IsServer = false;
    QSqlDatabase m_Connection;
};

/// Inserts rows, many at a time.
class CRows
{
public:
    CRows(CDatabase& database, const char* table, int columns);

    void Add(const QVariantList& row);
    /// Before the transaction ends.
    void Flush();

private:
    QString Statement(int rows) const;
    void Insert(QSqlQuery& query, qsizetype from, qsizetype values);

    CDatabase& m_Database;
    QString m_Table;
    int m_Columns;
    QVariantList m_Values;
    QSqlQuery m_One;
    QSqlQuery m_Many;
};
