#pragma once

#include <QAbstractItemModel>
#include <QList>
#include <QPointer>
#include <QSet>
#include <QTimer>

class Presentation;
class PresentationModelLoader;

/// The recordings in the work directory, in the order in which they were found; sorting is left to
/// a proxy. Fills itself in the background, where recordings that were cut off are repaired first.
/// GUI thread; owns its presentations.
class PresentationModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Role {
        PresentationObjectRole = Qt::UserRole + 1,
        TitleRole,
        DirectoryRole,
        SlideCountRole,
        RecordedAtRole,
        RecordedAtStringRole,
    };

    explicit PresentationModel(QObject* parent);
    ~PresentationModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

public slots:
    /// Empties the list and scans the work directory (the application property "workDir") anew.
    /// What an earlier scan still delivers is dropped.
    void reload();
    /// Appends @p presentation, which then belongs to the model.
    void addPresentation(Presentation* presentation);
    /// For Presentation::property_titleChanged: announces the new title of the sender's row.
    void onPresentationTitleChanged(const QString& title);

signals:
    /// The recording @p title was found cut off, and repaired or not. Told once for each.
    void presentationRecovered(const QString& title, bool repaired);

private:
    void stopLoader();
    void insertArrived();

    QList<Presentation*> m_presentations;
    /// Loaded but not yet in the list. Inserting a row costs far more than loading it, so rows are
    /// inserted in short turns, between which the window is drawn and answers.
    QList<Presentation*> m_arrived;
    QTimer m_insertTimer;
    QPointer<PresentationModelLoader> m_loader;
    QSet<QString> m_toldUnrepaired; ///< directories
};
