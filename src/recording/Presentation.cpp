#include "recording/Presentation.h"

#include "recording/PresentationRecovery.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDirIterator>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTextStream>
#include <QXmlStreamReader>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString XmlFileName = u"presentation.xml"_s;
const QString TimestampsFileName = u"timestamps_ms.txt"_s;

// Ours have about 200 bytes. Whatever is this large was not written by us, and reading it would
// only hold up the list of presentations.
constexpr qint64 MaxXmlSize = 1024 * 1024;
// A slide a second for a month.
constexpr qint64 MaxTimestampsSize = 64 * 1024 * 1024;
// What a row of the list can take; laying out a million characters would stop the window.
constexpr qsizetype MaxTitleLength = 500; // UTF-16 code units

// Titles may come from the service: characters that XML 1.0 cannot hold would make the file
// unreadable for every parser.
QString withoutInvalidXmlCharacters(const QString& text)
{
    QString valid;
    valid.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            valid.append(c);
            valid.append(text.at(++i));
        } else if (c == u'\t' || c == u'\n' || c == u'\r'
            || (c >= u' ' && !c.isSurrogate() && c < QChar(0xFFFE))) {
            valid.append(c);
        }
    }
    return valid;
}

// Lines with anything in them, counted block by block: a file of rubbish may be one huge line.
int countNonEmptyLines(QIODevice& device)
{
    int count = 0;
    bool lineHasContent = false;
    QByteArray block;
    while (device.pos() < MaxTimestampsSize && !(block = device.read(64 * 1024)).isEmpty()) {
        for (const char c : std::as_const(block)) {
            if (c == '\n') {
                count += lineHasContent ? 1 : 0;
                lineHasContent = false;
            } else if (c != '\r') {
                lineHasContent = true;
            }
        }
    }
    return count + (lineHasContent ? 1 : 0);
}

// The text of the element that @p xml is at, with that of the elements in it, up to its end. A
// loop, because QXmlStreamReader::readElementText() recurses once for every level.
QString elementText(QXmlStreamReader& xml)
{
    QString text;
    for (int depth = 1; depth > 0 && !xml.atEnd();) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            ++depth;
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        case QXmlStreamReader::Characters:
            text += xml.text();
            break;
        default:
            break;
        }
    }
    return text;
}

} // namespace

Presentation::Presentation(const QDir& dir)
    : m_dir(dir)
{
}

void Presentation::setLiveStream(bool isLiveStream)
{
    if (m_isLiveStream == isLiveStream)
        return;
    m_isLiveStream = isLiveStream;
    emit property_isLiveStreamChanged(m_isLiveStream);
}

void Presentation::setLivestreamPresentationId(const QString& id)
{
    if (m_livestreamPresentationId == id)
        return;
    m_livestreamPresentationId = id;
    emit property_livestreamPresentationIdChanged(m_livestreamPresentationId);
}

void Presentation::setConnectToExistingLiveStream(bool connectToExisting)
{
    if (m_connectToExistingLiveStream == connectToExisting)
        return;
    m_connectToExistingLiveStream = connectToExisting;
    emit property_connectToExistingLiveStreamChanged(m_connectToExistingLiveStream);
}

void Presentation::setTitle(const QString& title)
{
    if (m_title == title)
        return;
    m_title = title;
    emit property_titleChanged(m_title);
}

void Presentation::setRecordedAt(const QDateTime& recordedAt)
{
    if (m_recordedAt == recordedAt)
        return;
    m_recordedAt = recordedAt;
    emit property_recordedAtChanged(m_recordedAt);
}

void Presentation::setSlideCount(int slideCount)
{
    if (m_slideCount == slideCount)
        return;
    m_slideCount = slideCount;
    emit property_slideCountChanged(m_slideCount);
}

qint64 Presentation::recordingTime() const
{
    return m_recordingTimer.isValid() ? m_recordingTimer.elapsed() : 0;
}

qint64 Presentation::restartRecordingTimer()
{
    if (m_recordingTimer.isValid())
        return m_recordingTimer.restart();
    m_recordingTimer.start();
    return 0;
}

Presentation* Presentation::create(
    bool liveStream, bool connectToExistingLiveStream, const QString& livestreamPresentationId)
{
    QDir dir(QCoreApplication::instance()->property("workDir").toString());
    const QDateTime now = QDateTime::currentDateTime();
    // No colons: Windows does not allow them in file names.
    const QString time = now.toString(Qt::ISODate).replace(u':', u'-');
    const QString name
        = liveStream ? tr("Live Stream %1").arg(time) : tr("Presentation %1").arg(time);

    if (!dir.mkdir(name)) {
        qDebug() << "[Presentation] Creating directory" << name << "in" << dir.absolutePath()
                 << "failed.";
        return nullptr;
    }
    if (!dir.cd(name)) {
        qDebug() << "[Presentation] Entering directory failed.";
        return nullptr;
    }

    auto presentation = std::make_unique<Presentation>(dir);
    presentation->setLiveStream(liveStream);
    presentation->setLivestreamPresentationId(livestreamPresentationId);
    presentation->setConnectToExistingLiveStream(connectToExistingLiveStream);
    presentation->setTitle(name);
    presentation->setRecordedAt(now);
    return presentation->saveXml() ? presentation.release() : nullptr;
}

Presentation* Presentation::load(const QDir& dir)
{
    auto presentation = std::make_unique<Presentation>(dir);
    if (!presentation->loadXml())
        return nullptr;

    int slideCount = 0;
    QDirIterator files(
        dir.absolutePath(), { TimestampsFileName }, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (file.open(QIODevice::ReadOnly | QIODevice::Text))
            slideCount += countNonEmptyLines(file);
    }
    presentation->setSlideCount(slideCount);
    presentation->m_recovered = PresentationRecovery::isMarked(dir);
    return presentation.release();
}

bool Presentation::saveXml() const
{
    QDomDocument document;
    document.appendChild(
        document.createProcessingInstruction(u"xml"_s, u"version='1.0' encoding='UTF-8'"_s));
    QDomElement root = document.createElement(u"presentation"_s);
    document.appendChild(root);
    appendChildElement(document, root, u"name"_s, m_title);
    appendChildElement(document, root, u"recordingStart"_s, m_recordedAt.toString(Qt::ISODate));

    // Written under another name and renamed: a crash or a full disk never leaves half a file.
    QSaveFile file(m_dir.absoluteFilePath(XmlFileName));
    if (file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QTextStream stream(&file);
        // Told to take the encoding from the stream, Qt would write a processing instruction of its
        // own.
        document.save(stream, 4, QDomNode::EncodingFromDocument);
        stream.flush();
        if (stream.status() == QTextStream::Ok && file.commit())
            return true;
    }
    qWarning() << "[Presentation]"
               << "saving XML failed";
    return false;
}

void Presentation::appendChildElement(
    QDomDocument& document, QDomElement& parent, const QString& name, const QString& text) const
{
    QDomElement element = document.createElement(name);
    element.appendChild(document.createTextNode(withoutInvalidXmlCharacters(text)));
    parent.appendChild(element);
}

bool Presentation::loadXml()
{
    QFile file(m_dir.absoluteFilePath(XmlFileName));
    // A pipe would be opened only when somebody writes to it.
    if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    if (file.size() > MaxXmlSize) {
        qWarning() << "[Presentation]" << file.fileName() << "is too large to be ours";
        return false;
    }

    // A stream reader and not a DOM: it follows no external entity, and elements nested a hundred
    // thousand deep cost it no stack.
    QXmlStreamReader xml(&file);
    QString title;
    QString recordingStart;
    bool hasTitle = false;
    bool hasRecordingStart = false;
    if (xml.readNextStartElement()) {
        while (xml.readNextStartElement()) {
            if (!hasTitle && xml.name() == "name"_L1) {
                title = elementText(xml);
                hasTitle = true;
            } else if (!hasRecordingStart && xml.name() == "recordingStart"_L1) {
                recordingStart = elementText(xml);
                hasRecordingStart = true;
            } else {
                xml.skipCurrentElement();
            }
        }
    }
    while (!xml.atEnd())
        xml.readNext();
    if (xml.hasError())
        return false;

    // Qt lets single surrogates through, and the cut may make one.
    setTitle(withoutInvalidXmlCharacters(title.left(MaxTitleLength)));
    setRecordedAt(QDateTime::fromString(recordingStart, Qt::ISODate));
    qDebug() << "[Presentation]"
             << "loaded presentation" << m_title;
    return true;
}
