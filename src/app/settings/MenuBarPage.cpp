// Menu bar: whether the item is shown, and its style with a preview of each.
#include <QButtonGroup>
#include <QCheckBox>
#include <QLabel>
#include <QPixmap>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/menubar/MenuBarRenderer.h"
#include "app/settings/FormParts.h"
#include "app/settings/SettingsWindow.h"
#include "engine/Monitor.h"
#include "fmt/PlatformWording.h"
#include "shell/LaunchSettings.h"
#include "shell/MenuBarLabel.h"
#include "shell/MenuBarStyle.h"

namespace qm::app {

namespace {

class MenuBarPage : public SettingsPage {
public:
    MenuBarPage(AppContext& context, QWidget* parent) : SettingsPage(parent), context_(context) {
        setObjectName("menuBarPage");
        auto* layout = new QVBoxLayout(this);
        enabled_ = new QCheckBox(QString::fromStdString(forThisPlatform("Show Quillmere in the menu bar")), this);
        enabled_->setObjectName("menuBarEnabled");
        connect(enabled_, &QCheckBox::clicked, this,
                [this](bool on) { context_.defaults->set("menuBar.enabled", on); });
        layout->addWidget(enabled_);
        layout->addWidget(footnote(forThisPlatform("Click the icon for a quick look; right-click it for the menu. "
                                                   "Bind quillmere-app --toggle to a key to open the quick look "
                                                   "from anywhere."),
                                   this));
        layout->addSpacing(8);
        layout->addWidget(new QLabel("Show", this));
        group_ = new QButtonGroup(this);
        int id = 0;
        for (MenuBarStyle style : allMenuBarStyles) {
            auto* row = new QHBoxLayout;
            // Menu bar display style
            auto* button = new QRadioButton(QString::fromStdString(title(style)), this);
            button->setObjectName(
                QString("style_") +
                QString::fromUtf8(rawValue(style).data(), static_cast<qsizetype>(rawValue(style).size())));
            group_->addButton(button, id++);
            auto* preview = new QLabel(this);
            preview->setObjectName("preview");
            previews_.push_back(preview);
            row->addWidget(button);
            row->addStretch(1);
            row->addWidget(preview);
            layout->addLayout(row);
        }
        connect(group_, &QButtonGroup::idClicked, this, [this](int which) {
            const MenuBarStyle style = allMenuBarStyles[static_cast<size_t>(which)];
            context_.defaults->set("menuBar.style", std::string(rawValue(style)));
        });
        layout->addStretch(1);
        load();
    }

    void load() override {
        enabled_->setChecked(menuBarEnabled(*context_.defaults));
        const MenuBarStyle current = menuBarStyle(*context_.defaults);
        for (size_t i = 0; i < allMenuBarStyles.size(); ++i) {
            const MenuBarStyle style = allMenuBarStyles[i];
            if (style == current) group_->button(static_cast<int>(i))->setChecked(true);
            const MenuBarLabel label = menuBarLabel(context_.monitor->snapshot(), style);
            QPixmap pixmap = QPixmap::fromImage(MenuBarRenderer::trayImage(trayLines(label), label.alert, 48));
            previews_[i]->setPixmap(pixmap.scaled(24, 24, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        }
    }

private:
    AppContext& context_;
    QCheckBox* enabled_ = nullptr;
    QButtonGroup* group_ = nullptr;
    std::vector<QLabel*> previews_;
};

}  // namespace

SettingsPage* makeMenuBarPage(AppContext& context, QWidget* parent) { return new MenuBarPage(context, parent); }

}  // namespace qm::app
