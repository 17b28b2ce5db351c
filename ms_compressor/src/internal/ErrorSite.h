#pragma once

#include <kyv_common_stable/Error.h>
#include <kyv_common_stable/Result.h>

#include <QString>

#include <utility>

namespace kyv::compressor::internal {

/// A named place that errors are raised at or passed on at: part of the interface, listed in
/// docs/errors.md. The line is the place's own number, whatever line the code stands on today.
struct FailurePlace
{
    const char *file;
    int line;
};

namespace places {

inline constexpr char pointsCompressorFile[] = "ms_compressor/src/PointsCompressor";
inline constexpr char msDataPackerFile[] = "ms_compressor/src/MsDataPacker";
inline constexpr char bitCompressionFile[] = "ms_compressor/src/internal/BitCompression";

inline constexpr FailurePlace encodeInterleaved{pointsCompressorFile, 1};
inline constexpr FailurePlace encodeBitCompressed{pointsCompressorFile, 2};
inline constexpr FailurePlace encodeUnknownMethod{pointsCompressorFile, 3};
inline constexpr FailurePlace decodeInterleaved{pointsCompressorFile, 4};
inline constexpr FailurePlace decodeBitCompressed{pointsCompressorFile, 5};
inline constexpr FailurePlace decodeUnknownMethod{pointsCompressorFile, 6};
inline constexpr FailurePlace toJsonUnknownMethod{pointsCompressorFile, 7};
inline constexpr FailurePlace fromJsonVersion{pointsCompressorFile, 8};
inline constexpr FailurePlace fromJsonUnknownMethod{pointsCompressorFile, 9};

inline constexpr FailurePlace bitCompressionInconsistent{bitCompressionFile, 1045};

inline constexpr FailurePlace packIntegersTooMany{msDataPackerFile, 1};
inline constexpr FailurePlace unpackIntegersInconsistent{msDataPackerFile, 2};
inline constexpr FailurePlace quantizeTooMany{msDataPackerFile, 3};
inline constexpr FailurePlace rawConversionTooMany{msDataPackerFile, 4};
inline constexpr FailurePlace rawConversionNoMemory{msDataPackerFile, 5};
inline constexpr FailurePlace packFloatsNoMemory{msDataPackerFile, 6};
inline constexpr FailurePlace packIntegersNoMemory{msDataPackerFile, 7};
inline constexpr FailurePlace interpretAsPackMethod{msDataPackerFile, 59};
inline constexpr FailurePlace readParametersVersion{msDataPackerFile, 203};
inline constexpr FailurePlace packRawConversion{msDataPackerFile, 249};
inline constexpr FailurePlace packQuantize{msDataPackerFile, 253};
inline constexpr FailurePlace dequantizeIntegers{msDataPackerFile, 494};
inline constexpr FailurePlace packFloatsToByteArray{msDataPackerFile, 514};
inline constexpr FailurePlace packIntegersToByteArray{msDataPackerFile, 524};
inline constexpr FailurePlace unpackParameters{msDataPackerFile, 537};
inline constexpr FailurePlace unpackRawConversion{msDataPackerFile, 543};
inline constexpr FailurePlace unpackDequantize{msDataPackerFile, 548};
inline constexpr FailurePlace unpackRawParameters{msDataPackerFile, 578};
inline constexpr FailurePlace unpackRawMethod{msDataPackerFile, 585};
inline constexpr FailurePlace unpackRawIntegers{msDataPackerFile, 589};

} // namespace places

/// A failure place together with the signature of the function that it stands in.
struct ErrorSite
{
    const char *function;
    FailurePlace place;
};

/// Names the place kyv::compressor::internal::places::\a name in the current function.
#define KYV_SITE(name)                                                                             \
    ::kyv::compressor::internal::ErrorSite                                                         \
    {                                                                                              \
        Q_FUNC_INFO, ::kyv::compressor::internal::places::name                                     \
    }

/// Adds \a site to \a error, if it is one.
inline Error passOn(Error error, const ErrorSite &site)
{
    if (error.hasError())
        error.ecatch(site.function, site.place.file, site.place.line);
    return error;
}

/// Raises an error: \a code, \a message, and \a site as its first place.
inline Error fail(ErrorCode code, const QString &message, const ErrorSite &site)
{
    return passOn(Error(code, message), site);
}

/// Passes \a inner on: its value without the warnings that came with it, or its error with
/// \a site added.
template <typename T>
Result<T> passOn(Result<T> inner, const ErrorSite &site)
{
    if (inner.hasValue())
        return std::move(inner).value();
    return passOn(inner.error(), site);
}

} // namespace kyv::compressor::internal
