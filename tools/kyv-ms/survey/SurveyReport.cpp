#include "SurveyReport.h"

namespace kyv::tool {

void addNamed(QList<NamedSpectrum> *list, const runs::Spectrum &spectrum, const QString &reason)
{
    if (list->size() < namedLimit)
        list->append({spectrum.index, spectrum.id, spectrum.byteOffset, reason});
}

} // namespace kyv::tool
