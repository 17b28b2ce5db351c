#pragma once

#include <QList>
#include <QPointF>
#include <QString>

#include <vector>

namespace kyv::bench {

/// Spectra that are measured together.
struct Workload
{
    QString name;
    std::vector<QList<QPointF>> spectra;

    qsizetype points() const;
    /// What the points take in memory, 16 bytes each.
    qint64 pointBytes() const { return 16 * qint64(points()); }
};

/// The spectra of the folder KYV_DATA_DIR by file and kind, or simulated ones where the variable
/// names no folder:
///
/// - "<file>": long profile spectra, at least 2,000 points, or all spectra of a centroid file;
/// - "<file> short": the spectra of 100 to 500 points;
/// - "<file> cut": long spectra cut into lists of 300 points, which differ from the long ones only
///   in what a call costs.
std::vector<Workload> pointWorkloads();

} // namespace kyv::bench
