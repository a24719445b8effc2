#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <optional>
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

    /// A statement with a question mark, or a name after a colon, for each value. Names are bound faster.
    QSqlQuery Prepare(const QString& statement);
    void Execute(QSqlQuery& query) const;
    /// The rows that a statement selects.
    QSqlQuery Ask(const QString& statement, const QVariantList& values);
    /// The first value of the first row, not valid when there is none.
    QVariant Value(const QString& statement, const QVariantList& values = {});
    /// How a statement begins that inserts rows. In a file, one that fails leaves the rows before: SQLite
    /// would have to keep a copy of each page to undo them, and the transaction is rolled back anyway.
    QString InsertInto() const;
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

/// Names for the values of a statement: ":v0" and so on.
QStringList Placeholders(std::size_t count);

/// Inserts rows, many at a time.
class CRows
{
public:
    CRows(CDatabase& database, const char* table, int columns);

    /// A row, with a value for each column.
    void AddList(const QVariantList& values)
    {
        m_Values += values;
        InsertWhenFull();
    }
    template <class... Values_T>
    void Add(Values_T&&... values)
    {
        (m_Values.emplaceBack(std::forward<Values_T>(values)), ...);
        InsertWhenFull();
    }
    /// Before the transaction ends.
    void Flush();

private:
    QSqlQuery Prepared(int rows);
    void InsertWhenFull();
    void Insert(QSqlQuery& query, qsizetype from, qsizetype values);

    CDatabase& m_Database;
    QString m_Table;
    int m_Columns;
    QStringList m_Names; ///< of the values in a statement
    QVariantList m_Values;
    QSqlQuery m_One;
    std::optional<QSqlQuery> m_Many;
};
