#pragma once

#include "station/RunWriter.h"
#include "station/SvgPlot.h"

#include <QIODevice>

#include <map>
#include <vector>

/// A page for people: counts, a table of the runs, pings of the same set-up compared, and each ping. It needs
/// nothing beside itself, runs nothing, and is of bounded size however many runs there are: of each outcome
/// the first c_MostRows stand in the table, and the first c_MostPings pings are drawn; the page says what
/// was left out. All of it is written at the end.
class CHtmlWriter : public IRunWriter
{
public:
    static constexpr std::size_t c_MostRows = 10'000;
    static constexpr std::size_t c_MostPings = 250;
    static constexpr std::size_t c_MostSetups = 50;

    CHtmlWriter(QIODevice& output, const View_T& view) : m_Output(output), m_View(view) {}

    void Write(const Run_T& run) override;
    void End(const Summary_T& summary) override;

private:
    /// Pings that can be laid upon each other.
    struct Setup_T {
        std::vector<Ping_T> pings; ///< the first ones
        Envelope_T all;
        std::size_t count = 0;
    };

    /// @return the name that links to the ping; empty: it is not drawn
    QString AddPing(const Run_T& run);
    void Compare(const Run_T& run, Ping_T ping);
    QString Comparisons() const;

    QIODevice& m_Output;
    View_T m_View;
    std::size_t m_PingCount = 0;
    std::size_t m_RowsLeftOut = 0;
    std::size_t m_PingsLeftOut = 0;
    std::array<std::size_t, c_Outcomes> m_RowsOf = {};
    std::array<std::size_t, c_Outcomes> m_PingsOf = {};
    QByteArray m_Rows;
    QByteArray m_Pings;
    std::map<Bytes_T, Setup_T> m_Setups; ///< by what the pings have in common
};
