// The settings dialog against real servers on 127.0.0.1 and real settings files: its tabs,
// adding servers typed with and without a scheme, removing them, the warnings, the language
// switch, accepting and refusing, and the window taking the values back.
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTreeWidget>
#include <QtTest>
#include <functional>

#include "desktop/autostart.h"
#include "i18n/legal_texts.h"
#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "modal_answerer.h"
#include "net/server_endpoint.h"
#include "settings_dialog/settings_dialog.h"
#include "tests/support/content_server.h"
#include "tests/support/test_http_server.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"
#include "window_settings.h"

#ifndef _WIN32
#include "tests/support/tls_test_server.h"
#endif

namespace tavrin {

namespace {

using test::FileAt;
using test::ModalAnswerer;
using test::UrlOf;
using test::WindowSettings;

constexpr int kRunMs = 30000;

QString T(const char* key) {
    return QString::fromStdString(tr(key));
}

QString Filled(const char* key, const QString& argument) {
    return QString::fromStdWString(FillPlaceholders(TrWide(key), {argument.toStdWString()}));
}

QPushButton* ButtonWithText(QWidget& parent, const QString& text) {
    for (QPushButton* button : parent.findChildren<QPushButton*>()) {
        if (button->text() == text) {
            return button;
        }
    }
    return nullptr;
}

// Whether a label with this text would be on screen once its tab is shown.
bool LabelShown(QWidget& dialog, const QString& text) {
    for (QLabel* label : dialog.findChildren<QLabel*>()) {
        if (label->text() == text) {
            return !label->isHidden();
        }
    }
    return false;
}

template <typename Widget>
Widget* Named(QWidget& parent, const char* name) {
    return parent.findChild<Widget*>(QString::fromLatin1(name));
}

QString CurrentTab(SettingsDialog& dialog) {
    return Named<QTabWidget>(dialog, "SettingsTabs")->currentWidget()->objectName();
}

void TypeServer(SettingsDialog& dialog, const QString& name, const QString& url) {
    Named<QLineEdit>(dialog, "SettingsServerNameEdit")->setText(name);
    Named<QLineEdit>(dialog, "SettingsServerUrlEdit")->setText(url);
}

void ClickAdd(SettingsDialog& dialog) {
    Named<QPushButton>(dialog, "SettingsAddServerButton")->click();
}

std::vector<ProjectEntry> TwoProjects(const QString& url) {
    return {{QStringLiteral("Club"), url, "Cars", QStringLiteral("Club | Cars"), false},
            {QStringLiteral("Club"), url, "Tracks", QStringLiteral("Club | Tracks"), false}};
}

// Runs `drive` on the settings dialog once the window has opened it modally; gives up after
// 10 s, so that a dialog that never opens cannot be driven by a later test.
void WhenDialogOpens(std::function<void(SettingsDialog&)> drive) {
    auto* poll = new QTimer(QCoreApplication::instance());
    poll->setInterval(20);
    QTimer::singleShot(10000, poll, [poll] {
        poll->stop();
        poll->deleteLater();
    });
    QObject::connect(poll, &QTimer::timeout, [poll, drive] {
        auto* dialog = qobject_cast<SettingsDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr || !dialog->isVisible()) {
            return;
        }
        poll->stop();
        poll->deleteLater();
        QTimer::singleShot(0, dialog, [dialog, drive] { drive(*dialog); });
    });
    poll->start();
}

// A port on 127.0.0.1 that nothing listens on.
quint16 ClosedPort() {
    test::TestHttpServer server;
    const quint16 port = server.Port();
    server.Stop();
    return port;
}

}  // namespace

class SettingsDialogTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
        plainHttpAllowed = false;
    }

    void TheTabsComeInOrderUnderTheirObjectNames() {
        test::UiSandbox sandbox;
        SettingsDialog dialog({}, {}, nullptr);
        QCOMPARE(dialog.objectName(), QStringLiteral("SettingsDialog"));
        QCOMPARE(dialog.windowTitle(), T("dialog.server_settings_title"));
        auto* tabs = Named<QTabWidget>(dialog, "SettingsTabs");
        QStringList names;
        QStringList titles;
        for (int i = 0; i < tabs->count(); ++i) {
            names << tabs->widget(i)->objectName();
            titles << tabs->tabText(i);
        }
        QCOMPARE(names,
                 QStringList({"SettingsLanguageTab", "SettingsServerTab", "SettingsGeneralTab",
                              "SettingsAutostartTab", "SettingsAutoSyncTab", "SettingsLegalTabDe",
                              "SettingsLegalTabEn", "SettingsLegalTabQt"}));
        QCOMPARE(titles, QStringList({T("section.language"), T("dialog.tab_servers"),
                                      T("dialog.tab_general"), T("dialog.tab_autostart"),
                                      T("dialog.tab_auto_sync"), "Deutsch", "English",
                                      "Qt6 / LGPL Notice"}));
        QVERIFY(Named<QListWidget>(dialog, "SettingsServerList") != nullptr);
        QVERIFY(Named<QTreeWidget>(dialog, "SettingsAutoSyncTree") != nullptr);
        auto* mode = Named<QComboBox>(dialog, "SettingsAutostartModeCombo");
        QCOMPARE(mode->count(), 2);
        QCOMPARE(mode->itemText(0), T("dialog.autostart_mode_window"));
        QCOMPARE(mode->itemData(0).toInt(), 0);
        QCOMPARE(mode->itemText(1), T("dialog.autostart_mode_tray"));
        QCOMPARE(mode->itemData(1).toInt(), 1);
        QCOMPARE(ButtonWithText(dialog, T("button.ok"))->objectName(), "PrimaryButton");
        QCOMPARE(ButtonWithText(dialog, T("button.cancel"))->objectName(), "SecondaryButton");
        QCOMPARE(ButtonWithText(dialog, T("button.select_all"))->objectName(), "SecondaryButton");
        QCOMPARE(ButtonWithText(dialog, T("button.clear_selection"))->objectName(),
                 "SecondaryButton");
        // The legal tabs show the built-in texts, read-only.
        auto* legal = Named<QWidget>(dialog, "SettingsLegalTabEn");
        auto* text = legal->findChild<QPlainTextEdit*>();
        QVERIFY(text->isReadOnly());
        QVERIFY(text->toPlainText().size() > 200);
        auto* notice = Named<QWidget>(dialog, "SettingsLegalTabQt")->findChild<QPlainTextEdit*>();
        QVERIFY(notice->toPlainText().contains("Qt 6 Toolkit and LGPL Notice"));
        QVERIFY(notice->toPlainText().contains("Qt6Svg.dll"));
    }

    void ABareHostAnsweringOnlyPlainHttpIsRefusedWhileTheLockIsOn() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        const QString typed = QStringLiteral("127.0.0.1:%1").arg(server.Http().Port());
        SettingsDialogValues values;
        values.httpLockEnabled = true;
        SettingsDialog dialog(values, {}, nullptr);
        dialog.show();
        ModalAnswerer answers;
        TypeServer(dialog, QStringLiteral("Club"), typed);
        ClickAdd(dialog);
        QCOMPARE(answers.messages, QStringList{Filled("warn.http_lock_disable_required", typed)});
        QCOMPARE(answers.titles, QStringList{T("title.server")});
        QVERIFY(dialog.Values().servers.empty());
        QCOMPARE(Named<QListWidget>(dialog, "SettingsServerList")->count(), 0);
        // It was asked over plain HTTP, for the project list.
        QVERIFY(!server.Http().RequestsFor("/list_projects").empty());
    }

    void ABareHostAnsweringOnlyPlainHttpIsStoredWithHttpWhileTheLockIsOff() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        const QString typed = QStringLiteral("127.0.0.1:%1").arg(server.Http().Port());
        SettingsDialogValues values;
        values.httpLockEnabled = false;
        SettingsDialog dialog(values, {}, nullptr);
        dialog.show();
        ModalAnswerer answers;
        TypeServer(dialog, QStringLiteral("  Club  "), typed);
        ClickAdd(dialog);
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join('\n')));
        const auto servers = dialog.Values().servers;
        QCOMPARE(servers.size(), std::size_t{1});
        QCOMPARE(servers[0].name, QStringLiteral("Club"));
        QCOMPARE(servers[0].url, QStringLiteral("http://") + typed);
        // The new row is selected, so the button now updates it.
        auto* list = Named<QListWidget>(dialog, "SettingsServerList");
        QCOMPARE(list->count(), 1);
        QCOMPARE(list->selectedItems().size(), 1);
        QCOMPARE(Named<QPushButton>(dialog, "SettingsAddServerButton")->text(), T("button.update"));
    }

    void AHostAnsweringNeitherWayIsStoredWithHttps() {
        test::UiSandbox sandbox;
        const QString typed = QStringLiteral("127.0.0.1:%1").arg(ClosedPort());
        SettingsDialog dialog({}, {}, nullptr);
        dialog.show();
        ModalAnswerer answers;
        TypeServer(dialog, QStringLiteral("Later"), typed);
        ClickAdd(dialog);
        QVERIFY(answers.messages.isEmpty());
        QCOMPARE(dialog.Values().servers.size(), std::size_t{1});
        QCOMPARE(dialog.Values().servers[0].url, QStringLiteral("https://") + typed);
    }

    void AHostAnsweringOverHttpsIsStoredWithHttps() {
#ifdef _WIN32
        QSKIP("the Windows test build has no TLS server library to answer over HTTPS");
#else
        test::UiSandbox sandbox;
        qputenv("SSL_CERT_FILE", QByteArray::fromStdString(test::TlsTestDataFolder() + "/ca.pem"));
        test::TlsTestServer secure("[]");
        const QString typed = QStringLiteral("127.0.0.1:%1").arg(secure.Port());
        SettingsDialog dialog({}, {}, nullptr);
        dialog.show();
        ModalAnswerer answers;
        TypeServer(dialog, QStringLiteral("Secure"), typed);
        ClickAdd(dialog);
        qunsetenv("SSL_CERT_FILE");
        QVERIFY(answers.messages.isEmpty());
        QCOMPARE(dialog.Values().servers.size(), std::size_t{1});
        QCOMPARE(dialog.Values().servers[0].url, QStringLiteral("https://") + typed);
        QCOMPARE(secure.RequestsAnswered(), 1);
#endif
    }

    void MissingFieldsAndRefusedAddressesAreWarnedAbout() {
        test::UiSandbox sandbox;
        SettingsDialogValues values;
        values.httpLockEnabled = true;
        SettingsDialog dialog(values, {}, nullptr);
        dialog.show();
        ModalAnswerer answers;
        TypeServer(dialog, QStringLiteral("Club"), QStringLiteral("   "));
        ClickAdd(dialog);
        TypeServer(dialog, QString(), QStringLiteral("https://a.example"));
        ClickAdd(dialog);
        TypeServer(dialog, QStringLiteral("Club"), QStringLiteral("ftp://a.example"));
        ClickAdd(dialog);
        TypeServer(dialog, QStringLiteral("Club"), QStringLiteral("http://a.example"));
        ClickAdd(dialog);
        std::wstring canonical;
        std::wstring ftpError;
        std::wstring httpError;
        QVERIFY(!NormalizeServerUrl(L"ftp://a.example", true, canonical, ftpError));
        QVERIFY(!NormalizeServerUrl(L"http://a.example", false, canonical, httpError));
        QCOMPARE(
            answers.messages,
            QStringList({T("warn.server_name_url_required"), T("warn.server_name_url_required"),
                         QString::fromStdWString(ftpError), QString::fromStdWString(httpError)}));
        QCOMPARE(answers.titles, QStringList(4, T("title.server")));
        QVERIFY(dialog.Values().servers.empty());
    }

    void ASelectedRowIsUpdatedInPlaceAndAClickOnEmptySpaceAddsAgain() {
        test::UiSandbox sandbox;
        SettingsDialogValues values;
        values.servers = {{"One", "https://one.example"}, {"Two", "https://two.example"}};
        SettingsDialog dialog(values, {}, nullptr);
        dialog.resize(800, 560);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        Named<QTabWidget>(dialog, "SettingsTabs")->setCurrentIndex(1);
        auto* list = Named<QListWidget>(dialog, "SettingsServerList");
        auto* add = Named<QPushButton>(dialog, "SettingsAddServerButton");
        QCOMPARE(add->text(), T("button.add"));
        list->setCurrentRow(1);
        QCOMPARE(Named<QLineEdit>(dialog, "SettingsServerNameEdit")->text(), "Two");
        QCOMPARE(Named<QLineEdit>(dialog, "SettingsServerUrlEdit")->text(), "https://two.example");
        QCOMPARE(add->text(), T("button.update"));
        ModalAnswerer answers;
        TypeServer(dialog, QStringLiteral("Second"), QStringLiteral("https://second.example/"));
        ClickAdd(dialog);
        auto servers = dialog.Values().servers;
        QCOMPARE(servers.size(), std::size_t{2});
        QCOMPARE(servers[1].name, "Second");
        QCOMPARE(servers[1].url, "https://second.example");
        QCOMPARE(list->currentRow(), 1);
        // A press below the last row lets the next entry be added.
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          QPoint(10, list->viewport()->height() - 5));
        QCOMPARE(add->text(), T("button.add"));
        TypeServer(dialog, QStringLiteral("Third"), QStringLiteral("https://third.example"));
        ClickAdd(dialog);
        servers = dialog.Values().servers;
        QCOMPARE(servers.size(), std::size_t{3});
        QCOMPARE(servers[2].url, "https://third.example");
        QVERIFY(answers.messages.isEmpty());
    }

    void RemovingAServerWithoutANameAsksWithItsUrl() {
        test::UiSandbox sandbox;
        SettingsDialogValues values;
        values.servers = {{"", "https://a.example"}, {"Named", "https://b.example"}};
        SettingsDialog dialog(values, {}, nullptr);
        dialog.show();
        auto* list = Named<QListWidget>(dialog, "SettingsServerList");
        auto* remove = ButtonWithText(dialog, T("button.remove"));
        QVERIFY(!remove->isEnabled());
        ModalAnswerer answers;
        answers.buttons = {QMessageBox::No, QMessageBox::Yes};
        list->setCurrentRow(0);
        remove->click();
        QCOMPARE(dialog.Values().servers.size(), std::size_t{2});
        list->setCurrentRow(0);
        remove->click();
        const QString question = Filled("warn.confirm_remove_server", "https://a.example");
        QCOMPARE(answers.messages, QStringList({question, question}));
        QCOMPARE(answers.titles, QStringList(2, T("title.server")));
        QCOMPARE(dialog.Values().servers.size(), std::size_t{1});
        QCOMPARE(dialog.Values().servers[0].name, "Named");
        QCOMPARE(list->count(), 1);
        QVERIFY(!remove->isEnabled());
    }

    void TheGeneralTabsWarningsFollowTheFolderTheCheckAndTheLock() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        SettingsDialogValues values;
        values.targetPath = game;
        values.httpLockEnabled = true;
        SettingsDialog dialog(values, {}, nullptr);
        dialog.show();
        QVERIFY(!LabelShown(dialog, T("dialog.target_folder_warning")));
        QVERIFY(!LabelShown(dialog, T("dialog.target_validation_disabled_warning")));
        QVERIFY(!LabelShown(dialog, T("dialog.http_unencrypted_warning")));
        auto* folder = Named<QLineEdit>(dialog, "SettingsTargetFolderEdit");
        folder->setText(sandbox.Root());
        QVERIFY(LabelShown(dialog, T("dialog.target_folder_warning")));
        ModalAnswerer answers;
        Named<QCheckBox>(dialog, "SettingsTargetValidationCheck")->click();
        QCOMPARE(answers.messages, QStringList{T("dialog.target_validation_disabled_message")});
        QCOMPARE(answers.titles, QStringList{T("title.target_folder")});
        QVERIFY(LabelShown(dialog, T("dialog.target_validation_disabled_warning")));
        QVERIFY(!LabelShown(dialog, T("dialog.target_folder_warning")));
        // Switching the check on again asks nothing.
        Named<QCheckBox>(dialog, "SettingsTargetValidationCheck")->click();
        QCOMPARE(answers.messages.size(), 1);
        Named<QCheckBox>(dialog, "SettingsHttpLockCheck")->click();
        QVERIFY(LabelShown(dialog, T("dialog.http_unencrypted_warning")));
        // Auto-sync needs a folder that passes the check.
        QVERIFY(!LabelShown(dialog, T("dialog.auto_sync_target_required_warning")));
        Named<QCheckBox>(dialog, "SettingsAutoSyncCheck")->click();
        QVERIFY(LabelShown(dialog, T("dialog.auto_sync_target_required_warning")));
        folder->setText(game);
        QVERIFY(!LabelShown(dialog, T("dialog.auto_sync_target_required_warning")));
        QCOMPARE(dialog.Values().targetPath, QDir::toNativeSeparators(game));
        QVERIFY(!dialog.Values().httpLockEnabled);
    }

    void BrowseTakesTheChosenFolder() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        SettingsDialog dialog({}, {}, nullptr);
        dialog.show();
        QString caption;
        QTimer::singleShot(100, &dialog, [&] {
            auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            QVERIFY(chooser != nullptr);
            caption = chooser->windowTitle();
            QVERIFY(chooser->testOption(QFileDialog::ShowDirsOnly));
            QCOMPARE(chooser->fileMode(), QFileDialog::Directory);
            chooser->setDirectory(game);
            static_cast<QDialog*>(chooser)->accept();
        });
        ButtonWithText(dialog, T("button.browse"))->click();
        QCOMPARE(caption, T("dialog.choose_target_folder"));
        QCOMPARE(QDir::fromNativeSeparators(
                     Named<QLineEdit>(dialog, "SettingsTargetFolderEdit")->text()),
                 game);
    }

    void TheAutoSyncTreeListsTheProjectsUnderTheirServerAndCountsTicks() {
        test::UiSandbox sandbox;
        const QString url = QStringLiteral("https://Club.example");
        SettingsDialogValues values;
        values.servers = {{"Club", url}};
        // A tick of a project the lists do not hold right now is kept, in its own row.
        values.autoSyncProjects = {"https://club.example|TRACKS", "https://club.example|Old"};
        SettingsDialog dialog(values, TwoProjects(url), nullptr);
        dialog.show();
        auto* tree = Named<QTreeWidget>(dialog, "SettingsAutoSyncTree");
        QCOMPARE(tree->topLevelItemCount(), 1);
        QTreeWidgetItem* server = tree->topLevelItem(0);
        QCOMPARE(server->text(0), "Club");
        QCOMPARE(server->childCount(), 3);
        QCOMPARE(server->child(0)->text(0), "Cars");
        QCOMPARE(server->child(0)->checkState(0), Qt::Unchecked);
        QCOMPARE(server->child(1)->text(0), "Tracks");
        QCOMPARE(server->child(1)->checkState(0), Qt::Checked);
        QCOMPARE(server->child(2)->text(0), "Old");
        QVERIFY(LabelShown(dialog, "2 of 3 selected"));
        ButtonWithText(dialog, T("button.select_all"))->click();
        QVERIFY(LabelShown(dialog, "3 of 3 selected"));
        QCOMPARE(server->checkState(0), Qt::Checked);
        ButtonWithText(dialog, T("button.clear_selection"))->click();
        QVERIFY(LabelShown(dialog, "0 of 3 selected"));
        server->child(0)->setCheckState(0, Qt::Checked);
        QVERIFY(LabelShown(dialog, "1 of 3 selected"));
        QCOMPARE(dialog.Values().autoSyncProjects, QStringList{"https://club.example|Cars"});
    }

    void AcceptWithAutoSyncAndNoProjectTickedStaysOnTheAutoSyncTab() {
        test::UiSandbox sandbox;
        const QString url = QStringLiteral("https://club.example");
        SettingsDialogValues values;
        values.servers = {{"Club", url}};
        values.targetPath = sandbox.MakeGameFolder();
        values.autoSyncEnabled = true;
        SettingsDialog dialog(values, TwoProjects(url), nullptr);
        dialog.show();
        ModalAnswerer answers;
        ButtonWithText(dialog, T("button.ok"))->click();
        QCOMPARE(answers.messages, QStringList{T("warn.select_at_least_one_project")});
        QCOMPARE(answers.titles, QStringList{T("title.projects")});
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.result(), int(QDialog::Rejected));
        QCOMPARE(CurrentTab(dialog), "SettingsAutoSyncTab");
        QVERIFY(!dialog.property("selectedAutoSyncProjects").isValid());
    }

    void AFailedAutostartRegistrationKeepsTheDialogOnItsTab() {
#ifdef _WIN32
        QSKIP(
            "the current user's Run key cannot be made to refuse a write here; the Linux "
            "build shows the same path with a blocked autostart folder");
#else
        test::UiSandbox sandbox;
        // The autostart folder's place is taken by a file: the entry cannot be written.
        QFile blocker(sandbox.Root() + QStringLiteral("/config/autostart"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        SettingsDialog dialog({}, {}, nullptr);
        dialog.show();
        Named<QCheckBox>(dialog, "SettingsAutostartCheck")->click();
        ModalAnswerer answers;
        ButtonWithText(dialog, T("button.ok"))->click();
        QCOMPARE(answers.messages, QStringList{T(AutostartTexts().writeFailed)});
        QCOMPARE(answers.titles, QStringList{T("section.autostart")});
        QVERIFY(dialog.isVisible());
        QCOMPARE(CurrentTab(dialog), "SettingsAutostartTab");
        QVERIFY(!dialog.property("selectedAutostartMode").isValid());
#endif
    }

    void AcceptRegistersAutostartAndLeavesTheTwoProperties() {
        test::UiSandbox sandbox;
        const QString url = QStringLiteral("https://club.example");
        SettingsDialogValues values;
        values.servers = {{"Club", url}};
        values.targetPath = sandbox.MakeGameFolder();
        SettingsDialog dialog(values, TwoProjects(url), nullptr);
        dialog.show();
        Named<QCheckBox>(dialog, "SettingsAutostartCheck")->click();
        Named<QComboBox>(dialog, "SettingsAutostartModeCombo")->setCurrentIndex(0);
        Named<QCheckBox>(dialog, "SettingsAutoSyncCheck")->click();
        Named<QTreeWidget>(dialog, "SettingsAutoSyncTree")
            ->topLevelItem(0)
            ->child(1)
            ->setCheckState(0, Qt::Checked);
        ModalAnswerer answers;
        ButtonWithText(dialog, T("button.ok"))->click();
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join('\n')));
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(dialog.property("selectedAutoSyncProjects").toStringList(),
                 QStringList{"https://club.example|Tracks"});
        QCOMPARE(dialog.property("selectedAutostartMode").toBool(), false);
        const AutostartState state = QueryAutostart();
        QVERIFY(state.exists);
        QVERIFY(state.matchesExecutable);
        QCOMPARE(state.mode, AutostartMode::window);
        // Unticked and accepted again, the entry goes.
        SettingsDialogValues again = values;
        again.autostartEnabled = true;
        SettingsDialog second(again, {}, nullptr);
        second.show();
        Named<QCheckBox>(second, "SettingsAutostartCheck")->click();
        ButtonWithText(second, T("button.ok"))->click();
        QCOMPARE(second.result(), int(QDialog::Accepted));
        QVERIFY(!QueryAutostart().exists);
    }

    void TheLanguageSwitchesAtOnceAndTheDialogRetranslates() {
        test::UiSandbox sandbox;
        SettingsDialog dialog({}, {}, nullptr);
        dialog.show();
        QSignalSpy switched(&dialog, &SettingsDialog::LanguageSwitched);
        auto* combo = Named<QComboBox>(dialog, "SettingsLanguageCombo");
        QCOMPARE(combo->currentData().toString(), "en");
        combo->setCurrentIndex(combo->findData(QStringLiteral("de")));
        QCOMPARE(switched.size(), 1);
        QCOMPARE(switched[0][0].toString(), "de");
        QCOMPARE(QString::fromStdString(CurrentLanguage()), "de");
        auto* tabs = Named<QTabWidget>(dialog, "SettingsTabs");
        QCOMPARE(tabs->tabText(1), T("dialog.tab_servers"));
        QVERIFY(tabs->tabText(1) != "Servers");
        QCOMPARE(dialog.windowTitle(), T("dialog.server_settings_title"));
        QCOMPARE(ButtonWithText(dialog, T("button.cancel"))->objectName(), "SecondaryButton");
        QCOMPARE(tabs->tabText(7), QString::fromStdString(LegalTextsFor("de").noticeTabTitle));
    }

    void TheWindowTakesTheAcceptedValuesBackAndSavesThem() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer first;
        first.AddFile("Cars", "content/cars/gt/data.ini", "power=500\n");
        test::ContentServer second;
        second.AddFile("Tracks", "content/tracks/fjord/map.ini", "length=5200\n");
        sandbox.WriteSettings(
            WindowSettings(QString(), {{"Club", &first}}, UrlOf(first).toLower() + "|Cars"));
        ModalAnswerer answers;
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(!window.ProjectEntries().empty(), kRunMs);
        const QString typed = QStringLiteral("127.0.0.1:%1").arg(second.Http().Port());
        WhenDialogOpens([&](SettingsDialog& dialog) {
            TypeServer(dialog, QStringLiteral("League"), typed);
            ClickAdd(dialog);
            Named<QLineEdit>(dialog, "SettingsTargetFolderEdit")->setText(game);
            ButtonWithText(dialog, T("button.ok"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join('\n')));
        const SettingsRecord& settings = window.Settings();
        QCOMPARE(settings.servers.size(), std::size_t{2});
        QCOMPARE(settings.servers[1].url, QStringLiteral("http://") + typed);
        QCOMPARE(settings.selectedDomains,
                 QStringList({QString::fromUtf8(UrlOf(first)), QStringLiteral("http://") + typed}));
        QCOMPARE(settings.targetPath, QDir::toNativeSeparators(game));
        QVERIFY(plainHttpAllowed.load());
        // The new server's projects are listed beside the first one's.
        QTRY_COMPARE_WITH_TIMEOUT(window.ProjectEntries().size(), std::size_t{2}, kRunMs);
        // The file follows after the save delay.
        QTRY_VERIFY_WITH_TIMEOUT(
            sandbox.ReadSettings().contains("domain_1_url=http://" + typed.toUtf8()), kRunMs);
        QVERIFY(sandbox.ReadSettings().contains("count=2"));
        // The lock switched on in the dialog reaches every later connection at once.
        WhenDialogOpens([&](SettingsDialog& dialog) {
            Named<QCheckBox>(dialog, "SettingsHttpLockCheck")->click();
            ButtonWithText(dialog, T("button.ok"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        QVERIFY(window.Settings().httpLockEnabled);
        QVERIFY(!plainHttpAllowed.load());
        QTRY_VERIFY_WITH_TIMEOUT(sandbox.ReadSettings().contains("http_lock_enabled=true"), kRunMs);
    }

    // The download limit: off by default with its value greyed, on in the dialog and saved.
    void TheDownloadLimitIsSetOnTheGeneralTabAndSaved() {
        test::UiSandbox sandbox;
        ModalAnswerer answers;
        TavrinQtWindow window;
        QVERIFY(!window.Settings().downloadLimitEnabled);
        WhenDialogOpens([&](SettingsDialog& dialog) {
            auto* check = Named<QCheckBox>(dialog, "SettingsDownloadLimitCheck");
            auto* value = Named<QDoubleSpinBox>(dialog, "SettingsDownloadLimitValue");
            QCOMPARE(check->text(), T("dialog.download_limit_checkbox"));
            QVERIFY(!check->isChecked());
            QVERIFY(!value->isEnabled());
            QCOMPARE(value->value(), 10.0);
            QCOMPARE(value->suffix(), QStringLiteral(" MB/s"));
            check->click();
            QVERIFY(value->isEnabled());
            value->setValue(2.5);
            ButtonWithText(dialog, T("button.ok"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join('\n')));
        QVERIFY(window.Settings().downloadLimitEnabled);
        QCOMPARE(window.Settings().downloadLimitMBps, 2.5);
        QTRY_VERIFY_WITH_TIMEOUT(sandbox.ReadSettings().contains("download_limit_enabled=true"),
                                 kRunMs);
        QVERIFY(sandbox.ReadSettings().contains("download_limit_mbps=2.5"));
    }

    // "Sync while the game is running": off by default, ticked in the dialog and saved.
    void SyncingWhileTheGameRunsIsTickedOnTheGeneralTabAndSaved() {
        test::UiSandbox sandbox;
        ModalAnswerer answers;
        TavrinQtWindow window;
        QVERIFY(!window.Settings().syncWhileGameRunning);
        WhenDialogOpens([&](SettingsDialog& dialog) {
            auto* check = Named<QCheckBox>(dialog, "SettingsSyncWhileGameRunningCheck");
            QCOMPARE(check->text(), T("dialog.sync_while_game_running"));
            QVERIFY(!check->isChecked());
            check->click();
            ButtonWithText(dialog, T("button.ok"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join('\n')));
        QVERIFY(window.Settings().syncWhileGameRunning);
        QTRY_VERIFY_WITH_TIMEOUT(sandbox.ReadSettings().contains("sync_while_game_running=true"),
                                 kRunMs);
    }

    void ARemovedServerTakesItsPasswordsAndRevisionsAlong() {
        test::UiSandbox sandbox;
        test::ContentServer kept;
        kept.AddFile("Cars", "a.txt", "a");
        test::ContentServer gone;
        gone.AddFile("Tracks", "t.txt", "t");
        const QByteArray keptUrl = UrlOf(kept).toLower();
        const QByteArray goneUrl = UrlOf(gone).toLower();
        sandbox.WriteSettings(WindowSettings(
            QString(), {{"Kept", &kept}, {"Gone", &gone}}, keptUrl + "|Cars," + goneUrl + "|Tracks",
            {},
            "[ProjectPasswords]\n1\\key=" + keptUrl + "|cars\n1\\password=k\n2\\key=" + goneUrl +
                "|tracks\n2\\password=g\nsize=2\n[AutoSyncRevisions]\n1\\domain=" + keptUrl +
                "\n1\\revision=4\n2\\domain=" + goneUrl + "\n2\\revision=9\nsize=2\n"));
        ModalAnswerer answers;
        answers.buttons = {QMessageBox::Yes};
        TavrinQtWindow window;
        QTRY_COMPARE_WITH_TIMEOUT(window.ProjectEntries().size(), std::size_t{2}, kRunMs);
        WhenDialogOpens([&](SettingsDialog& dialog) {
            Named<QListWidget>(dialog, "SettingsServerList")->setCurrentRow(1);
            ButtonWithText(dialog, T("button.remove"))->click();
            ButtonWithText(dialog, T("button.ok"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        const SettingsRecord& settings = window.Settings();
        QCOMPARE(settings.servers.size(), std::size_t{1});
        QCOMPARE(settings.projectPasswords.keys(), QStringList{keptUrl + "|cars"});
        QCOMPARE(settings.autoSyncRevisions.size(), std::size_t{1});
        QCOMPARE(settings.autoSyncRevisions.count(QString::fromUtf8(keptUrl)), std::size_t{1});
        QCOMPARE(settings.selectedProjects, QStringList{keptUrl + "|Cars"});
        window.FlushPendingSettings(true);
        const QByteArray saved = sandbox.ReadSettings();
        QVERIFY2(!saved.contains(goneUrl), saved.constData());
        QVERIFY2(saved.contains("1\\revision=4\n"), saved.constData());
    }

    void AnAddressChangedInTheDialogTakesTicksAndPasswordsAlong() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "content/cars/gt/data.ini", "power=500\n");
        const QString oldUrl = QString::fromUtf8(UrlOf(server));
        const QString newUrl = QStringLiteral("http://localhost:%1").arg(server.Http().Port());
        const QByteArray key = oldUrl.toLower().toUtf8() + "|Cars";
        sandbox.WriteSettings(WindowSettings(
            QString(), {{"Club", &server}}, key, "auto_sync_projects=" + key + "\n",
            "[ProjectPasswords]\n1\\key=" + key.toLower() + "\n1\\password=pw\nsize=1\n"));
        ModalAnswerer answers;
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(!window.ProjectEntries().empty(), kRunMs);
        QCOMPARE(window.Settings().projectPasswords.value(key.toLower()), "pw");
        WhenDialogOpens([&](SettingsDialog& dialog) {
            Named<QListWidget>(dialog, "SettingsServerList")->setCurrentRow(0);
            Named<QLineEdit>(dialog, "SettingsServerUrlEdit")->setText(newUrl);
            ClickAdd(dialog);
            // The tree shows the project under the new address, still ticked.
            const QStringList ticked = dialog.Values().autoSyncProjects;
            QCOMPARE(ticked, QStringList{newUrl + "|Cars"});
            ButtonWithText(dialog, T("button.ok"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join('\n')));
        const SettingsRecord& settings = window.Settings();
        QCOMPARE(settings.servers.size(), std::size_t{1});
        QCOMPARE(settings.servers[0].url, newUrl);
        QCOMPARE(settings.selectedDomains, QStringList{newUrl});
        QCOMPARE(settings.selectedProjects, QStringList{newUrl + "|Cars"});
        QCOMPARE(settings.autoSyncProjects, QStringList{newUrl + "|Cars"});
        QCOMPARE(settings.projectPasswords.size(), 1);
        QCOMPARE(settings.projectPasswords.value(newUrl.toLower() + "|cars"), "pw");
        // The project section lists it from the new address, ticked.
        QTRY_VERIFY_WITH_TIMEOUT(
            !window.ProjectEntries().empty() && window.ProjectEntries()[0].serverUrl == newUrl,
            kRunMs);
        QTRY_COMPARE_WITH_TIMEOUT(window.CheckedProjectKeys(), QStringList{newUrl + "|Cars"},
                                  kRunMs);
    }

    void AnAddressListedAlreadyUpdatesItsRowAndARemovedServerLeavesTheTree() {
        test::UiSandbox sandbox;
        const QString url = QStringLiteral("https://club.example");
        SettingsDialogValues values;
        values.servers = {{"Club", url}, {"Other", "https://other.example"}};
        values.targetPath = sandbox.MakeGameFolder();
        values.autoSyncEnabled = true;
        values.autoSyncProjects = {url + "|Cars"};
        SettingsDialog dialog(values, TwoProjects(url), nullptr);
        dialog.show();
        ModalAnswerer answers;
        answers.buttons = {QMessageBox::Yes};
        TypeServer(dialog, QStringLiteral("Club renamed"), QStringLiteral("https://CLUB.example/"));
        ClickAdd(dialog);
        QCOMPARE(dialog.Values().servers.size(), std::size_t{2});
        QCOMPARE(dialog.Values().servers[0].name, "Club renamed");
        QCOMPARE(Named<QListWidget>(dialog, "SettingsServerList")->currentRow(), 0);
        QCOMPARE(dialog.Values().autoSyncProjects, QStringList{url + "|Cars"});
        ButtonWithText(dialog, T("button.remove"))->click();
        QCOMPARE(dialog.Values().servers.size(), std::size_t{1});
        QCOMPARE(Named<QTreeWidget>(dialog, "SettingsAutoSyncTree")->topLevelItemCount(), 0);
        QVERIFY(LabelShown(dialog, "0 of 0 selected"));
        // With its projects gone, auto-sync has nothing to watch: OK is refused.
        ButtonWithText(dialog, T("button.ok"))->click();
        QCOMPARE(answers.messages,
                 QStringList({Filled("warn.confirm_remove_server", "Club renamed"),
                              T("warn.select_at_least_one_project")}));
        QCOMPARE(CurrentTab(dialog), "SettingsAutoSyncTab");
    }

    void AutoSyncSwitchedOnInTheDialogBringsTheFolderInStep() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "content/cars/gt/data.ini", "power=500\n");
        const QByteArray key = UrlOf(server).toLower() + "|Cars";
        sandbox.WriteSettings(WindowSettings(game, {{"Club", &server}}, key));
        ModalAnswerer answers;
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(!window.ProjectEntries().empty(), kRunMs);
        QCOMPARE(window.RunningAutoSyncWatchers(), 0);
        WhenDialogOpens([&](SettingsDialog& dialog) {
            Named<QCheckBox>(dialog, "SettingsAutoSyncCheck")->click();
            ButtonWithText(dialog, T("button.ok"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        QVERIFY(window.Settings().autoSyncEnabled);
        QTRY_COMPARE_WITH_TIMEOUT(window.RunningAutoSyncWatchers(), 1, kRunMs);
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + "/content/cars/gt/data.ini"),
                                  QByteArray("power=500\n"), kRunMs);
        // A change published afterwards arrives by itself.
        server.AddFile("Cars", "content/cars/gt/data.ini", "power=530\n");
        server.SetChangeRevision(1);
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + "/content/cars/gt/data.ini"),
                                  QByteArray("power=530\n"), kRunMs);
        QVERIFY(answers.messages.isEmpty());
    }

    void ACancelledDialogChangesNothingButTheLanguage() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        const QByteArray settings = WindowSettings(QString(), {{"Club", &server}}, {});
        sandbox.WriteSettings(settings);
        ModalAnswerer answers;
        TavrinQtWindow window;
        WhenDialogOpens([&](SettingsDialog& dialog) {
            TypeServer(dialog, QStringLiteral("Other"), QStringLiteral("https://other.example"));
            ClickAdd(dialog);
            Named<QCheckBox>(dialog, "SettingsHttpLockCheck")->click();
            auto* combo = Named<QComboBox>(dialog, "SettingsLanguageCombo");
            combo->setCurrentIndex(combo->findData(QStringLiteral("fr")));
            ButtonWithText(dialog, T("button.cancel"))->click();
        });
        window.findChild<QAction*>(QStringLiteral("SettingsAction"))->trigger();
        QCOMPARE(window.Settings().servers.size(), std::size_t{1});
        QVERIFY(!window.Settings().httpLockEnabled);
        QCOMPARE(window.Settings().language, "fr");
        QCOMPARE(window.findChild<QAction*>(QStringLiteral("SettingsAction"))->text(),
                 T("menu.settings"));
        QVERIFY(window.findChild<QAction*>(QStringLiteral("SettingsAction"))->text() != "Settings");
        QTRY_VERIFY_WITH_TIMEOUT(sandbox.ReadSettings().contains("language=fr"), kRunMs);
        QVERIFY(!sandbox.ReadSettings().contains("other.example"));
    }

    void TheLegalActionOpensTheLegalTabOfTheLanguage() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nlanguage=de\n");
        ModalAnswerer answers;
        TavrinQtWindow window;
        QString shown;
        WhenDialogOpens([&](SettingsDialog& dialog) {
            shown = CurrentTab(dialog);
            dialog.reject();
        });
        window.findChild<QAction*>(QStringLiteral("LegalAction"))->trigger();
        QCOMPARE(shown, "SettingsLegalTabDe");
        SetLanguage("en");
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::SettingsDialogTest)
#include "settings_dialog_test.moc"
