#include "ui/PresentationModel.h"

#include "processing/WorkerEnd.h"
#include "recording/Presentation.h"
#include "ui/PresentationModelLoader.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QQmlEngine>

using namespace Qt::StringLiterals;

namespace {

// Time for inserting rows in one turn of the event loop: well below one frame of the screen, so
// that a list of thousands fills without a visible stutter; much less would only stretch it.
constexpr qint64 InsertTurnMs = 5;

} // namespace

PresentationModel::PresentationModel(QObject* parent)
    : QAbstractItemModel(parent)
{
    m_insertTimer.setInterval(0);
    connect(&m_insertTimer, &QTimer::timeout, this, &PresentationModel::insertArrived);
}

PresentationModel::~PresentationModel()
{
    stopLoader();
    const auto loaders = findChildren<PresentationModelLoader*>();
    for (PresentationModelLoader* loader : loaders) {
        loader->requestInterruption();
        WorkerEnd::waitAndDelete(loader);
    }
    // Deliveries on their way carry objects that nobody else knows.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    qDeleteAll(m_arrived);
    qDeleteAll(m_presentations);
}

int PresentationModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_presentations.size());
}

int PresentationModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QModelIndex PresentationModel::index(int row, int column, const QModelIndex& parent) const
{
    return hasIndex(row, column, parent) ? createIndex(row, column) : QModelIndex();
}

QModelIndex PresentationModel::parent(const QModelIndex&) const
{
    return {};
}

QVariant PresentationModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() < 0 || index.row() >= m_presentations.size())
        return {};
    Presentation* presentation = m_presentations.at(index.row());
    switch (role) {
    case PresentationObjectRole:
        return QVariant::fromValue(presentation);
    case TitleRole:
        return presentation->title();
    case DirectoryRole:
        return presentation->dir().absolutePath();
    case SlideCountRole:
        return presentation->slideCount();
    case RecordedAtRole:
        return presentation->recordedAt();
    case RecordedAtStringRole:
        return presentation->recordedAt().toString(u"yyyy/MM/dd hh:mm"_s);
    default:
        return {};
    }
}

QHash<int, QByteArray> PresentationModel::roleNames() const
{
    return {
        { PresentationObjectRole, "presentationObject"_ba },
        { TitleRole, "title"_ba },
        { DirectoryRole, "directory"_ba },
        { SlideCountRole, "slideCount"_ba },
        { RecordedAtRole, "recordedAt"_ba },
        { RecordedAtStringRole, "recordedAtString"_ba },
    };
}

void PresentationModel::reload()
{
    stopLoader();

    beginResetModel();
    for (Presentation* presentation : std::as_const(m_presentations))
        presentation->deleteLater();
    m_presentations.clear();
    endResetModel();

    const QString workDir = QCoreApplication::instance()->property("workDir").toString();
    auto* loader = new PresentationModelLoader(QDir(workDir), this);
    m_loader = loader;
    connect(loader, &PresentationModelLoader::loadedPresentation, this,
        [this, loader](Presentation* presentation) {
            if (loader != m_loader) { // compared, never dereferenced: the loader may be gone
                delete presentation;
                return;
            }
            m_arrived.append(presentation);
            if (!m_insertTimer.isActive())
                m_insertTimer.start();
        });
    connect(loader, &PresentationModelLoader::recovered, this,
        [this](const QString& directory, const QString& title, bool repaired) {
            if (!repaired && m_toldUnrepaired.contains(directory))
                return;
            if (!repaired)
                m_toldUnrepaired.insert(directory);
            emit presentationRecovered(title, repaired);
        });
    connect(loader, &QThread::finished, loader, &QObject::deleteLater);
    QTimer::singleShot(0, loader, &PresentationModelLoader::startLoader);
}

void PresentationModel::addPresentation(Presentation* presentation)
{
    // The role "presentationObject" hands the object to QML, whose garbage collector must leave it.
    QQmlEngine::setObjectOwnership(presentation, QQmlEngine::CppOwnership);
    const int row = int(m_presentations.size());
    beginInsertRows({}, row, row);
    m_presentations.append(presentation);
    endInsertRows();
}

void PresentationModel::onPresentationTitleChanged(const QString&)
{
    const qsizetype row = m_presentations.indexOf(qobject_cast<Presentation*>(sender()));
    if (row < 0)
        return;
    const QModelIndex changed = index(int(row), 0);
    emit dataChanged(changed, changed, { TitleRole });
}

void PresentationModel::stopLoader()
{
    if (m_loader) {
        const bool started = m_loader->isRunning() || m_loader->isFinished();
        if (started)
            m_loader->requestInterruption();
        else
            delete m_loader; // an interruption would be forgotten by its start
    }
    m_loader.clear();
    m_insertTimer.stop();
    qDeleteAll(m_arrived);
    m_arrived.clear();
}

void PresentationModel::insertArrived()
{
    QElapsedTimer turn;
    turn.start();
    while (!m_arrived.isEmpty() && turn.elapsed() < InsertTurnMs)
        addPresentation(m_arrived.takeFirst());
    if (m_arrived.isEmpty())
        m_insertTimer.stop();
}
