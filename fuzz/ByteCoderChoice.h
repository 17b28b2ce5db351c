#pragma once

#include "ByteCoder.h"
#include "ReferenceByteCodec.h"

#include <deque>

/// A codec and its reference for each size of the model's block, kept from one execution to the
/// next. A byte of the input chooses: bits 0 and 1 the block, the others the path.
class ByteCoderChoice
{
public:
    ByteCoderChoice()
    {
        for (const quint32 bytes : {1u << 20, 1u << 13, 1u << 14, 24000u}) {
            m_references.emplace_back(kyv::test::reference::BlockSize::ofBytes(bytes));
            for (const auto path : kyv::test::bytePaths())
                m_coders.emplace_back(bytes, 2, path);
        }
    }

    kyv::test::ByteCoder &coder(quint8 choice)
    {
        const std::size_t pathCount = m_coders.size() / m_references.size();
        return m_coders[(choice & 3) * pathCount + (choice >> 2) % pathCount];
    }
    kyv::test::reference::ReferenceByteCodec &reference(quint8 choice)
    {
        return m_references[choice & 3];
    }

private:
    std::deque<kyv::test::ByteCoder> m_coders;
    std::deque<kyv::test::reference::ReferenceByteCodec> m_references;
};
