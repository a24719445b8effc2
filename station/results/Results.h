#pragma once

#include "station/Transcripts.h"
#include "station/results/Database.h"
#include "station/results/SampleCut.h"

#include <QSet>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <span>

/// What became of the files of an import.
struct Imported_T {
    std::uint64_t added = 0;
    std::uint64_t known = 0;      ///< were in the database before
    std::uint64_t unfinished = 0; ///< are broken off, or still being written
    std::uint64_t foreign = 0;    ///< are no run files
    std::uint64_t unreadable = 0;
};

/// Puts run files into a database. A file's key is the SHA-256 of its bytes, so nothing gets in twice.
class CImport
{
public:
    /// @param pLimits  by which the runs are judged; null: by none
    CImport(CDatabase& database, CLimits* pLimits);
    CImport(const CImport&) = delete;
    CImport& operator=(const CImport&) = delete;
    ~CImport();

    /// Reads a file, and prints why it is left out.
    void Add(const Bytes_T& file);
    /// Stores what is not stored yet.
    Imported_T Finish();

private:
    /// What the database keeps of a judged run.
    struct Attempt_T {
        std::uint64_t firstLine;
        std::uint64_t lastLine;
        Bytes_T command;
        Bytes_T setting;
        Outcome outcome;
        Bytes_T reason;
        std::vector<Quantity_T> measurements;
        std::vector<LimitResult_T> limits;
    };
    /// A run file.
    struct File_T {
        QByteArray key;
        Bytes_T name;
        Record_T record;
        Bytes_T text; ///< without samples
        std::vector<Attempt_T> attempts;
        std::vector<SampleCut_T> samples;
    };
    /// A run file that may be in the database.
    struct Found_T {
        Bytes_T name;
        Bytes_T room; ///< for its bytes, and those of later files
        std::string_view bytes;
    };
    class CAttempts;
    class CStore;
    /// So many files are looked for in the database at once.
    static constexpr std::size_t c_MostFound = 50;

    std::optional<std::string_view> Read(const Bytes_T& file, Bytes_T& room);
    QSet<QByteArray> Known(std::span<const QByteArray> keys);
    void Sift();
    void Judge(const QByteArray& key, const Found_T& found);
    void Store();

    CDatabase& m_Database;
    CLimits* m_Limits;
    QSqlQuery m_FindKeys;
    std::unique_ptr<CStore> m_Store;
    CMeasurer m_Measurer;
    std::array<Found_T, c_MostFound> m_Found; ///< the first m_FoundCount
    std::vector<QByteArray> m_FoundKeys;      ///< of those
    std::size_t m_FoundCount = 0;
    std::vector<File_T> m_Waiting;
    std::size_t m_Bytes = 0; ///< of those
    Imported_T m_Imported;
};

/// Which runs are read; an empty text matches all.
struct RunFilter_T {
    Bytes_T unit;
    Bytes_T station;
    Bytes_T product;
    Bytes_T since;   ///< date or time
    Bytes_T until;   ///< date or time, not included
    Bytes_T command; ///< of an attempt
};

/// Conditions of a statement, and their values.
struct Conditions_T {
    QString text; ///< each begins with AND
    QVariantList values;
};
/// For the tables units, stations and runs; the command is left out.
Conditions_T ConditionsOf(const RunFilter_T& filter);

/// Reads run files as they were imported, in the order of their names.
/// @param onFile  gets the name and the bytes of each
void ReadRunFiles(CDatabase& database, const RunFilter_T& filter,
                  const std::function<void(const Bytes_T& name, const Bytes_T& bytes)>& onFile);
