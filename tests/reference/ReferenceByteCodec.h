#pragma once

#include "ReferenceByteModel.h"
#include "ReferenceRangeCoder.h"

#include <QByteArray>

namespace kyv::test::reference {

/// A slow, literal encoder and decoder of the byte stream of docs/formats/bytes.md.
///
/// The size of the model's block and the order of the model are arguments, so that tests reach
/// the paths that a block of 1 GiB hardly ever takes. The block is touched only where it is used.
class ReferenceByteCodec
{
    Q_DISABLE_COPY_MOVE(ReferenceByteCodec) // the parts refer to one another

public:
    explicit ReferenceByteCodec(BlockSize size = 1024, int order = 2);

    /// The stream of \a input, cut at \a capacity bytes.
    QByteArray encode(const QByteArray &input, qsizetype capacity);

    /// The bytes of \a stream up to its end mark, or up to \a capacity bytes.
    QByteArray decode(const QByteArray &stream, qsizetype capacity);

    /// Counted since the codec was made.
    const RarePaths &rarePaths() const { return m_model.rarePaths(); }

private:
    bool encodeSymbol(int symbol);
    bool encodeMasked(int symbol);
    int decodeSymbol();
    int decodeMasked();

    ReferenceByteModel m_model;
    ReferenceRangeCoder m_coder;
};

} // namespace kyv::test::reference
