// Reads mzML front to back with expat: one spectrum at a time, no index needed.
//
// The parser keeps the stack of open elements and hands parameters and array text to a
// SpectrumBuilder. Whatever it refuses, it refuses with the byte where that stands in the unpacked
// file. A DOCTYPE is refused, so no entity can expand; depth, tags, arrays and the expansion of a
// .gz are bounded by Limits.h. Chromatograms are counted and their arrays skipped.

#include "ByteSource.h"
#include "CvTerms.h"
#include "Limits.h"
#include "Run.h"
#include "SpectrumBuilder.h"

#include <QFile>

#include <expat.h>

#include <charconv>
#include <cstring>
#include <map>
#include <memory>

namespace kyv::runs {

namespace {

constexpr int pieceSize = 64 << 10;

enum class Element {
    Other,
    IndexedMzml,
    Mzml,
    ParamGroup,
    ParamGroupRef,
    CvParam,
    Spectrum,
    Chromatogram,
    BinaryDataArray,
    Binary,
};

/// An element's name without a namespace prefix.
std::string_view localName(const char *name)
{
    const char *colon = std::strrchr(name, ':');
    return colon ? colon + 1 : name;
}

Element elementOf(std::string_view name)
{
    static const std::map<std::string_view, Element> elements{
        {"indexedmzML", Element::IndexedMzml},
        {"mzML", Element::Mzml},
        {"referenceableParamGroup", Element::ParamGroup},
        {"referenceableParamGroupRef", Element::ParamGroupRef},
        {"cvParam", Element::CvParam},
        {"spectrum", Element::Spectrum},
        {"chromatogram", Element::Chromatogram},
        {"binaryDataArray", Element::BinaryDataArray},
        {"binary", Element::Binary},
    };
    const auto found = elements.find(name);
    return found == elements.end() ? Element::Other : found->second;
}

/// Attributes as expat delivers them: name, value, name, value, null.
class Attributes
{
public:
    explicit Attributes(const char **list)
        : m_list(list)
    {}

    std::string_view text(std::string_view name) const
    {
        for (const char **item = m_list; *item; item += 2)
            if (name == item[0])
                return item[1];
        return {};
    }

    /// A count, or -1 if the attribute is missing or no number.
    qint64 count(std::string_view name) const
    {
        const std::string_view digits = text(name);
        qint64 value = -1;
        const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return result.ec == std::errc() && value >= 0 ? value : -1;
    }

private:
    const char **m_list;
};

/// A referenceableParamGroup, and what it takes in memory.
struct ParamGroup
{
    std::vector<CvParam> params;
    qint64 bytes = 0;
};

class MzmlParser
{
public:
    MzmlParser(QIODevice &device, const RunHandlers &handlers);

    RunReading read();

private:
    void startElement(const char *name, const Attributes &attributes);
    void endElement();
    void characters(const char *text, int count);
    void otherText(std::string_view text);
    void refuse(const QString &reason, qint64 byteOffset);

    void startRoot(std::string_view name, Element element);
    void startParamGroup(const Attributes &attributes);
    void chargeGroups(qint64 bytes);
    void addParam(const CvParam &param);
    void addParamsOfGroup(const Attributes &attributes);
    void startSpectrum(const Attributes &attributes);
    void endArray();
    void endSpectrum();

    bool parsePiece();
    void refuseSyntax();
    void passTextOn();
    void cut(qint64 from, qint64 to);

    Element parent() const { return m_open.size() < 2 ? Element::Other : m_open.end()[-2]; }
    qint64 position();
    qint64 maxArrayBytes() const { return limits::arrayBytes(m_source.fileBytes()); }

    const RunHandlers &m_handlers;
    qint64 m_fileSize;
    ByteSource m_source;
    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> m_parser;
    RunReading m_reading;
    qint64 m_position = 0;
    bool m_stopped = false; // by a refusal or by the caller

    std::vector<Element> m_open; // the elements around the current one, and itself
    bool m_sawRoot = false;
    bool m_sawMzml = false;
    std::map<std::string, ParamGroup, std::less<>> m_groups;
    ParamGroup *m_group = nullptr; // the group that is being read
    qint64 m_groupBytes = 0;       // of all groups
    qint64 m_referencedBytes = 0;  // of parameters that references stood for
    SpectrumBuilder m_builder;
    bool m_inSpectrum = false;
    bool m_inArray = false;
    qint64 m_binaryOffset = 0;  // of the array's <binary> element
    qint64 m_contentOffset = 0; // of what is inside it

    // For the text without arrays: bytes not yet passed on, and where the first of them stands.
    QByteArray m_pending;
    qint64 m_pendingOffset = 0;
};

MzmlParser::MzmlParser(QIODevice &device, const RunHandlers &handlers)
    : m_handlers(handlers)
    , m_fileSize(device.size())
    , m_source(device)
    , m_parser(XML_ParserCreate(nullptr), &XML_ParserFree)
    , m_builder(&m_reading.summary)
{
    Q_CHECK_PTR(m_parser.get());
    XML_Parser parser = m_parser.get();
    XML_SetUserData(parser, this);
    XML_SetElementHandler(
        parser,
        [](void *self, const char *name, const char **attributes) {
            static_cast<MzmlParser *>(self)->startElement(name, Attributes(attributes));
        },
        [](void *self, const char *) { static_cast<MzmlParser *>(self)->endElement(); });
    XML_SetCharacterDataHandler(parser, [](void *self, const char *text, int count) {
        static_cast<MzmlParser *>(self)->characters(text, count);
    });
    XML_SetDefaultHandlerExpand(parser, [](void *self, const char *text, int count) {
        static_cast<MzmlParser *>(self)->otherText({text, std::size_t(count)});
    });
}

RunReading MzmlParser::read()
{
    while (!m_stopped && parsePiece()) {
        if (m_handlers.progress)
            m_handlers.progress(m_source.fileBytes(), m_fileSize);
    }
    if (!m_stopped && !m_sawMzml)
        refuse(QStringLiteral("no mzML element"), 0);
    if (!m_stopped && !m_pending.isEmpty())
        m_handlers.textWithoutArrays(m_pending.constData(), m_pending.size());
    m_reading.summary.fileBytes = m_source.fileBytes();
    m_reading.summary.xmlBytes = m_source.unpackedBytes();
    return std::move(m_reading);
}

/// Feeds the parser once; false at the end of the file.
bool MzmlParser::parsePiece()
{
    char *buffer = static_cast<char *>(XML_GetBuffer(m_parser.get(), pieceSize));
    Q_CHECK_PTR(buffer);
    const qsizetype count = m_source.read(buffer, pieceSize);
    if (m_source.failure()) {
        m_reading.failure = m_source.failure();
        m_stopped = true;
        return false;
    }
    if (m_handlers.textWithoutArrays)
        m_pending.append(buffer, count);
    if (XML_ParseBuffer(m_parser.get(), int(count), count == 0) != XML_STATUS_OK) {
        refuseSyntax();
        return false;
    }
    if (m_source.unpackedBytes() - position() > limits::tagBytes)
        refuse(QStringLiteral("a tag of more than %1 bytes").arg(limits::tagBytes), position());
    if (m_handlers.textWithoutArrays)
        passTextOn();
    return count > 0;
}

/// Where the parser stands. While it waits for the rest of a token it does not say: then the last
/// place holds.
qint64 MzmlParser::position()
{
    m_position = std::max<qint64>(m_position, XML_GetCurrentByteIndex(m_parser.get()));
    return m_position;
}

/// Says what expat stumbled over, unless reading was stopped on purpose.
void MzmlParser::refuseSyntax()
{
    if (m_stopped)
        return;
    const XML_Error error = XML_GetErrorCode(m_parser.get());
    if (m_source.unpackedBytes() == 0)
        refuse(QStringLiteral("the file is empty"), 0);
    else if (error == XML_ERROR_NO_ELEMENTS || error == XML_ERROR_UNCLOSED_TOKEN)
        refuse(QStringLiteral("the file ends too early"), position());
    else
        refuse((m_sawRoot ? QStringLiteral("XML: %1") : QStringLiteral("not XML (%1)"))
                   .arg(QLatin1String(XML_ErrorString(error))),
               position());
}

void MzmlParser::refuse(const QString &reason, qint64 byteOffset)
{
    if (m_stopped)
        return;
    m_stopped = true;
    m_reading.failure = ReadFailure{ReadFailure::Kind::Corrupt, byteOffset, reason};
    XML_StopParser(m_parser.get(), XML_FALSE);
}

// Elements

void MzmlParser::startElement(const char *qualifiedName, const Attributes &attributes)
{
    if (m_stopped)
        return;
    const std::string_view name = localName(qualifiedName);
    const Element element = elementOf(name);
    m_open.push_back(element);
    if (m_open.size() > std::size_t(limits::elementDepth))
        return refuse(QStringLiteral("elements nested more than %1 deep").arg(limits::elementDepth),
                      position());
    if (m_open.size() == 1)
        return startRoot(name, element);

    switch (element) {
    case Element::Mzml:
        m_sawMzml = true;
        break;
    case Element::ParamGroup:
        startParamGroup(attributes);
        break;
    case Element::ParamGroupRef:
        addParamsOfGroup(attributes);
        break;
    case Element::CvParam:
        addParam({std::string(attributes.text("accession")), std::string(attributes.text("name")),
                  std::string(attributes.text("value"))});
        break;
    case Element::Spectrum:
        startSpectrum(attributes);
        break;
    case Element::Chromatogram:
        ++m_reading.summary.chromatograms;
        break;
    case Element::BinaryDataArray:
        m_inArray = m_inSpectrum;
        if (m_inArray)
            m_builder.beginArray(attributes.count("arrayLength"));
        break;
    case Element::Binary:
        m_binaryOffset = position();
        m_contentOffset = m_binaryOffset + XML_GetCurrentByteCount(m_parser.get());
        break;
    case Element::IndexedMzml:
    case Element::Other:
        break;
    }
}

void MzmlParser::endElement()
{
    if (m_stopped)
        return;
    const Element element = m_open.back();
    switch (element) {
    case Element::ParamGroup:
        m_group = nullptr;
        break;
    case Element::Binary:
        if (m_handlers.textWithoutArrays)
            cut(m_contentOffset, position());
        break;
    case Element::BinaryDataArray:
        endArray();
        break;
    case Element::Spectrum:
        endSpectrum();
        break;
    default:
        break;
    }
    m_open.pop_back();
}

void MzmlParser::characters(const char *text, int count)
{
    if (m_stopped || !m_inArray || m_open.back() != Element::Binary)
        return;
    if (!m_builder.text(text, count, maxArrayBytes()))
        refuse(QStringLiteral("an array of more than %1 bytes of text").arg(maxArrayBytes()),
               m_binaryOffset);
}

/// Everything that has no handler of its own. Refused here, a DOCTYPE cannot declare an entity.
void MzmlParser::otherText(std::string_view text)
{
    if (text.substr(0, 9) == "<!DOCTYPE")
        refuse(QStringLiteral("a DOCTYPE is not accepted"), position());
}

void MzmlParser::startRoot(std::string_view name, Element element)
{
    m_sawRoot = true;
    m_sawMzml = element == Element::Mzml;
    if (element == Element::Mzml || element == Element::IndexedMzml)
        return;
    if (name == "mzData" || name == "mzXML")
        return refuse(QStringLiteral("%1 is not supported, only mzML")
                          .arg(QString::fromUtf8(name.data(), qsizetype(name.size()))),
                      position());
    const QString shown =
        QString::fromUtf8(name.data(), qsizetype(std::min<std::size_t>(name.size(), 40)));
    refuse(QStringLiteral("not mzML: the root element is <%1>").arg(shown), position());
}

// Parameters

void MzmlParser::startParamGroup(const Attributes &attributes)
{
    if (m_groups.size() >= std::size_t(limits::groups))
        return refuse(QStringLiteral("more than %1 parameter groups").arg(limits::groups),
                      position());
    const std::string_view id = attributes.text("id");
    chargeGroups(qint64(id.size()));
    m_group = &m_groups[std::string(id)];
}

/// Refuses a file whose groups take too much in memory.
void MzmlParser::chargeGroups(qint64 bytes)
{
    m_groupBytes += bytes;
    if (m_groupBytes > limits::groupBytes)
        refuse(QStringLiteral("parameter groups of more than %1 bytes").arg(limits::groupBytes),
               position());
}

void MzmlParser::addParam(const CvParam &param)
{
    if (param.accession == cv::externalData || param.accession == cv::externalOffset
        || param.accession == cv::imagingContinuous || param.accession == cv::imagingProcessed)
        return refuse(QStringLiteral("imzML is not supported: its arrays are in a separate file"),
                      position());
    if (m_group) {
        chargeGroups(param.bytes());
        m_group->params.push_back(param);
        m_group->bytes += param.bytes();
    } else if (m_inArray && parent() == Element::BinaryDataArray) {
        m_builder.arrayParam(param);
    } else if (m_inSpectrum && parent() == Element::Spectrum) {
        m_builder.spectrumParam(param);
    }
}

/// A reference stands for the parameters of its group; one to an unknown group stands for none.
void MzmlParser::addParamsOfGroup(const Attributes &attributes)
{
    if (!m_inSpectrum || m_group) // a group inside a spectrum, or one that refers to itself
        return;
    const auto group = m_groups.find(attributes.text("ref"));
    if (group == m_groups.end())
        return;
    m_referencedBytes += group->second.bytes;
    if (m_referencedBytes > limits::referencedBytes(m_source.unpackedBytes()))
        return refuse(QStringLiteral("references to more than %1 bytes of parameters")
                          .arg(limits::referencedBytes(m_source.unpackedBytes())),
                      position());
    for (const CvParam &param : group->second.params)
        addParam(param);
}

// Spectra

void MzmlParser::startSpectrum(const Attributes &attributes)
{
    if (m_inSpectrum)
        return refuse(QStringLiteral("a spectrum inside a spectrum"), position());
    m_inSpectrum = true;
    m_builder.beginSpectrum(attributes.text("id"), attributes.count("defaultArrayLength"),
                            position());
}

void MzmlParser::endArray()
{
    if (!m_inArray)
        return;
    m_inArray = false;
    if (const auto damage = m_builder.endArray(maxArrayBytes()))
        refuse(*damage, m_binaryOffset);
}

void MzmlParser::endSpectrum()
{
    m_inSpectrum = false;
    Spectrum spectrum = m_builder.finish();
    if (!m_handlers.spectrum || m_handlers.spectrum(std::move(spectrum)))
        return;
    m_stopped = true;
    XML_StopParser(m_parser.get(), XML_FALSE);
}

// The text without arrays

/// Passes on what stands before \a from and drops what follows up to \a to.
void MzmlParser::cut(qint64 from, qint64 to)
{
    if (from > m_pendingOffset)
        m_handlers.textWithoutArrays(m_pending.constData(), from - m_pendingOffset);
    m_pending.remove(0, to - m_pendingOffset);
    m_pendingOffset = to;
}

/// Passes on, or drops, everything before the token that the parser has not understood yet.
void MzmlParser::passTextOn()
{
    const bool inBinary = !m_open.empty() && m_open.back() == Element::Binary;
    const qint64 decided = m_stopped ? m_pendingOffset : position();
    if (inBinary)
        cut(std::max(m_contentOffset, m_pendingOffset), std::max(m_contentOffset, decided));
    else if (decided > m_pendingOffset)
        cut(decided, decided);
}

} // namespace

RunReading readRun(QIODevice &device, const RunHandlers &handlers)
{
    return MzmlParser(device, handlers).read();
}

RunReading readRun(const QString &path, const RunHandlers &handlers)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return readRun(file, handlers);
    RunReading reading;
    reading.failure = ReadFailure{ReadFailure::Kind::Io, 0, file.errorString()};
    return reading;
}

} // namespace kyv::runs
