#pragma once

#include "station/output/SvgPlot.h"

#include <map>
#include <string>
#include <vector>

/// In the order of the page.
enum class Group { Failed, NotJudged, Marginal, Good };
inline constexpr std::size_t c_Groups = 4;

Group GroupOf(const Run_T& run);
/// "Failed", "Not judged", "Marginal", "Good"
QString NameOf(Group group);
/// The class in the style sheet: "failed", "notjudged", "marginal", "good".
QString ClassOf(Group group);

/// Bytes of a transcript as text of the page; of a long one, only the first.
std::string Shown(std::string_view bytes);

/// The pings of the page: of each group the outliers as pictures, and pings of the same set-up compared. Its
/// size is bounded.
class CPageEchoes
{
public:
    explicit CPageEchoes(const View_T& view) : m_View(view) {}

    /// @param run  with samples
    void Add(const Run_T& run);
    /// Once, after all runs.
    void Write(QIODevice& output);

private:
    static constexpr std::size_t c_MostPictures = 20; ///< of a group
    static constexpr std::size_t c_MostSetups = 50;

    /// Mean and variance of a measurement, one value after another.
    struct Spread_T {
        double count = 0;
        double mean = 0;
        double squares = 0; ///< of the distances from the mean

        void Add(double value);
        /// Of a value from the mean, in standard deviations; 0 with few values.
        double Distance(double value) const;
    };
    /// Pings with the same test and form.
    struct Setup_T {
        std::map<std::string_view, Spread_T> spreads; ///< by measurement
        std::vector<Ping_T> pings;                    ///< the first ones
        Envelope_T all;
        std::size_t count = 0;
    };
    struct Outlier_T {
        double distance = 0;
        const char* measurement = ""; ///< of which this is the distance
    };
    struct Picture_T {
        Outlier_T outlier;
        const Setup_T* pSetup;
        std::vector<Quantity_T> measurements;
        Ping_T ping;
        QString title;
        QString caption; ///< below the echo; the measurements follow
    };

    static Outlier_T OutlierOf(const Setup_T& setup, const std::vector<Quantity_T>& measurements);
    Setup_T* SetupOf(const Run_T& run);
    QString Comparisons() const;

    View_T m_View;
    std::array<std::vector<Picture_T>, c_Groups> m_Pictures; ///< by Group
    std::array<std::size_t, c_Groups> m_Counts = {};
    std::map<Bytes_T, Setup_T> m_Setups; ///< by what the pings have in common
};
