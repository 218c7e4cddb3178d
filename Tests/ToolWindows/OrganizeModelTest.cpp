#include "ToolWindows/Pages/OrganizeModel.h"

#include "SmallFiles.h"
#include "Support/BackgroundTask.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

using namespace Pelgra;

namespace {

std::vector<std::int64_t> sources(const OrganizeModel& model)
{
    std::vector<std::int64_t> result;
    for (const PageEdit& page : model.pages())
        result.push_back(page.sourceIndex);
    return result;
}

using Order = std::vector<std::int64_t>;

} // namespace

class OrganizeModelTest : public QObject {
    Q_OBJECT

private:
    SmallFiles m_files;
    std::unique_ptr<OrganizeModel> m_model;

    Identifier id(std::size_t index) const { return m_model->pages()[index].id; }

private Q_SLOTS:
    void init()
    {
        m_model = std::make_unique<OrganizeModel>(m_files.document("three.pdf", 3));
        m_model->load();
        m_model->load(); // counts once
        QTRY_VERIFY(!m_model->isLoading());
        QCOMPARE(sources(*m_model), Order({0, 1, 2}));
        QCOMPARE(m_model->countLabel(), "3 pages");
    }

    void cleanup()
    {
        m_model.reset();
        utilityPool().waitForDone();
    }

    void fourTurnsAreNone()
    {
        for (const std::int64_t expected : {90, 180, 270, 0}) {
            m_model->rotate(id(1));
            QCOMPARE(m_model->pages()[1].rotation, expected);
            QCOMPARE(m_model->isChanged(), expected != 0);
        }
    }

    void aCopyStandsBehindItsPageAndIsAnother()
    {
        m_model->rotate(id(0));
        m_model->duplicate(id(0));
        QCOMPARE(sources(*m_model), Order({0, 0, 1, 2}));
        QCOMPARE(m_model->pages()[1].rotation, std::int64_t{90});
        QVERIFY(!(id(0) == id(1)));
        for (int turn = 0; turn < 3; ++turn)
            m_model->rotate(id(0));
        QCOMPARE(m_model->pages()[1].rotation, std::int64_t{90});
        m_model->remove(id(1));
        QVERIFY(!m_model->isChanged());
    }

    void theLastPageStays()
    {
        const Identifier last = id(2);
        m_model->remove(id(0));
        m_model->remove(id(0));
        QVERIFY(!m_model->canRemove());
        m_model->remove(last);
        QCOMPARE(m_model->countLabel(), "1 page");
    }

    void resetAfterADragRestoresTheDocument()
    {
        m_model->dragOver(id(0), id(2));
        m_model->commitReordering();
        QCOMPARE(sources(*m_model), Order({1, 2, 0}));
        QVERIFY(m_model->isChanged());
        m_model->reset();
        QCOMPARE(sources(*m_model), Order({0, 1, 2}));
        QVERIFY(!m_model->isChanged());
        m_model->setUniformWidth(true);
        QVERIFY(!m_model->isChanged());
    }

    void aDragIsOneStepToUndo()
    {
        m_model->dragOver(id(0), id(1));
        m_model->dragOver(id(1), id(2));
        m_model->commitReordering();
        m_model->remove(id(0));
        QCOMPARE(sources(*m_model), Order({2, 0}));
        m_model->undo();
        QCOMPARE(sources(*m_model), Order({1, 2, 0}));
        m_model->undo();
        QCOMPARE(sources(*m_model), Order({0, 1, 2}));
        QVERIFY(!m_model->canUndo());
        m_model->redo();
        QCOMPARE(sources(*m_model), Order({1, 2, 0}));
        m_model->rotate(id(0)); // forgets what could be done again
        QVERIFY(!m_model->canRedo());
        m_model->undo();
        QCOMPARE(sources(*m_model), Order({1, 2, 0}));
        QCOMPARE(m_model->pages()[0].rotation, std::int64_t{0});
    }

    void copiesShareOneImageDrawnOnce()
    {
        QSignalSpy drawn(m_model.get(), &OrganizeModel::thumbnailChanged);
        m_model->duplicate(id(1));
        for (const PageEdit& page : m_model->pages())
            m_model->loadThumbnail(page.sourceIndex);
        QTRY_COMPARE(drawn.count(), 3);
        utilityPool().waitForDone();
        QCoreApplication::processEvents();
        m_model->loadThumbnail(1);
        QCoreApplication::processEvents();
        QCOMPARE(drawn.count(), 3);
        QCOMPARE(qMax(m_model->thumbnail(1).width(), m_model->thumbnail(1).height()), 400);
    }

    void aPageOutOfViewIsNotDrawnUnlessItComesBack()
    {
        QSignalSpy drawn(m_model.get(), &OrganizeModel::thumbnailChanged);
        QSemaphore gate;
        const int threads = utilityPool().maxThreadCount();
        for (int i = 0; i < threads; ++i)
            utilityPool().start([&gate] { gate.acquire(); });
        for (const std::int64_t page : {0, 1, 2})
            m_model->loadThumbnail(page);
        m_model->cancelThumbnail(0);
        m_model->cancelThumbnail(1);
        m_model->loadThumbnail(1);
        gate.release(threads);
        utilityPool().waitForDone();
        QTRY_COMPARE(drawn.count(), 2);
        QVERIFY(m_model->thumbnail(0).isNull());
        QVERIFY(!m_model->thumbnail(1).isNull());
    }

    void anImageThatFailedIsTriedAgainOnceItsPageWasOutOfView()
    {
        const auto drawn = [this] {
            m_model->loadThumbnail(0);
            utilityPool().waitForDone();
            QCoreApplication::processEvents();
            return !m_model->thumbnail(0).isNull();
        };
        const auto elsewhere = m_files.path("elsewhere.pdf");
        std::filesystem::rename(m_model->url(), elsewhere);
        QVERIFY(!drawn());
        std::filesystem::rename(elsewhere, m_model->url());
        QVERIFY(!drawn()); // asked for at every refresh
        m_model->cancelThumbnail(0);
        QVERIFY(drawn());
    }

    void whatIsNoDocumentHasNoPages()
    {
        OrganizeModel model(m_files.picture("picture.pdf"));
        model.load();
        QTRY_VERIFY(!model.isLoading());
        QCOMPARE(model.countLabel(), "0 pages");
    }
};

QTEST_MAIN(OrganizeModelTest)
#include "OrganizeModelTest.moc"
