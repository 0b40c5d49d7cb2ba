// General: the update interval, light or dark, the Dock (Mac only), the window at launch, what
// Ctrl+Q (⌘Q) does, launch at login and the language.
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

#include "app/PlatformApp.h"
#include "app/settings/FormParts.h"
#include "app/settings/SettingsWindow.h"
#include "shell/Appearance.h"
#include "shell/SettingRead.h"
#include "shell/SettingsText.h"

namespace qm::app {

namespace {

class GeneralPage : public SettingsPage {
public:
    GeneralPage(AppContext& context, QWidget* parent) : SettingsPage(parent), defaults_(*context.defaults) {
        setObjectName("generalPage");
        const GeneralSettingsText text = generalSettingsText(thisDesktop());
        auto* form = new QFormLayout(this);
        form->setRowWrapPolicy(QFormLayout::WrapLongRows);

        interval_ = new QComboBox(this);
        interval_->setObjectName("refreshInterval");
        for (const auto& choice : text.intervals)
            interval_->addItem(QString::fromStdString(choice.title), choice.seconds);
        connect(interval_, &QComboBox::activated, this,
                [this](int index) { defaults_.set("refresh.interval", interval_->itemData(index).toDouble()); });
        form->addRow(QString::fromStdString(text.updateEvery), interval_);
        form->addRow(footnote(text.updateFootnote, this));

        appearance_ = new QComboBox(this);
        appearance_->setObjectName("appearance");
        for (Appearance choice : {Appearance::system, Appearance::light, Appearance::dark})
            appearance_->addItem(QString::fromStdString(label(choice)), QString::fromUtf8(rawValue(choice).data()));
        connect(appearance_, &QComboBox::activated, this, [this](int index) {
            defaults_.set(appearanceKey, appearance_->itemData(index).toString().toStdString());
        });
        form->addRow(QString::fromUtf8(appearanceText::title), appearance_);

        if (text.showInDock) {
            dock_ = boolBox(*text.showInDock, "dock.visible", "showInDock");
            form->addRow(dock_);
        }
        atLaunch_ = boolBox(text.windowAtLaunch, "window.atLaunch", "windowAtLaunch");
        form->addRow(atLaunch_);
        keepRunning_ = boolBox(text.keepRunning, "quit.keepRunningInMenuBar", "keepRunning");
        form->addRow(keepRunning_);
        form->addRow(footnote(text.keepRunningFootnote, this));

        login_ = new QCheckBox(QString::fromStdString(text.launchAtLogin), this);
        login_->setObjectName("launchAtLogin");
        connect(login_, &QCheckBox::clicked, this, [this](bool on) {
            const QString error = setLaunchAtLogin(on);
            if (!error.isEmpty()) {
                QMessageBox::warning(this, "Quillmere", "Could not change launch at login: " + error);
                login_->setChecked(launchAtLoginEnabled());
            }
        });
        form->addRow(login_);

        const QLocale locale = QLocale::system();
        // The C locale is the program's untranslated English.
        const QString name = locale.language() == QLocale::C         ? QString("English")
                             : locale.nativeLanguageName().isEmpty() ? QLocale::languageToString(locale.language())
                                                                     : locale.nativeLanguageName();
        auto* language = new QLabel(name, this);
        language->setObjectName("languageName");
        form->addRow(QString::fromStdString(text.language), language);
        form->addRow(footnote(text.languageNote, this));
        if (canOpenLanguageSettings()) {
            auto* open = new QPushButton(QString::fromStdString(text.languageButton), this);
            connect(open, &QPushButton::clicked, this, [] { openLanguageSettings(); });
            form->addRow(open);
        }
        load();
    }

    void load() override {
        const double interval =
            defaults_.contains("refresh.interval") ? defaults_.doubleValue("refresh.interval") : 2.0;
        int best = 1;
        for (int i = 0; i < interval_->count(); ++i)
            if (std::abs(interval_->itemData(i).toDouble() - interval) < 0.01) best = i;
        interval_->setCurrentIndex(best);
        appearance_->setCurrentIndex(static_cast<int>(appearance(defaults_)));
        if (dock_) dock_->setChecked(storedBool(defaults_, "dock.visible").value_or(true));
        atLaunch_->setChecked(storedBool(defaults_, "window.atLaunch").value_or(true));
        keepRunning_->setChecked(storedBool(defaults_, "quit.keepRunningInMenuBar").value_or(true));
        login_->setChecked(launchAtLoginEnabled());
    }

private:
    QCheckBox* boolBox(const std::string& label, const std::string& key, const char* name) {
        auto* box = new QCheckBox(QString::fromStdString(label), this);
        box->setObjectName(name);
        connect(box, &QCheckBox::clicked, this, [this, key](bool on) { defaults_.set(key, on); });
        return box;
    }

    Defaults& defaults_;
    QComboBox* interval_ = nullptr;
    QComboBox* appearance_ = nullptr;
    QCheckBox* dock_ = nullptr;
    QCheckBox* atLaunch_ = nullptr;
    QCheckBox* keepRunning_ = nullptr;
    QCheckBox* login_ = nullptr;
};

}  // namespace

SettingsPage* makeGeneralPage(AppContext& context, QWidget* parent) { return new GeneralPage(context, parent); }

}  // namespace qm::app
