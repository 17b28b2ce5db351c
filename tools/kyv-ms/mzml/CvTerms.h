#pragma once

#include <string_view>

/// Accession numbers of the PSI-MS controlled vocabulary that the reader understands.
namespace kyv::runs::cv {

inline constexpr std::string_view msLevel = "MS:1000511";
inline constexpr std::string_view centroidSpectrum = "MS:1000127";
inline constexpr std::string_view profileSpectrum = "MS:1000128";

inline constexpr std::string_view mzArray = "MS:1000514";
inline constexpr std::string_view intensityArray = "MS:1000515";

inline constexpr std::string_view int32 = "MS:1000519";
inline constexpr std::string_view float16 = "MS:1000520";
inline constexpr std::string_view float32 = "MS:1000521";
inline constexpr std::string_view int64 = "MS:1000522";
inline constexpr std::string_view float64 = "MS:1000523";
inline constexpr std::string_view asciiText = "MS:1001479";

inline constexpr std::string_view zlibCompression = "MS:1000574";
inline constexpr std::string_view noCompression = "MS:1000576";

/// Arrays in a separate file: what makes an mzML document the XML half of an imzML data set.
inline constexpr std::string_view imagingContinuous = "IMS:1000030";
inline constexpr std::string_view imagingProcessed = "IMS:1000031";
inline constexpr std::string_view externalData = "IMS:1000101";
inline constexpr std::string_view externalOffset = "IMS:1000102";

} // namespace kyv::runs::cv
