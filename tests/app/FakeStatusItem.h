// A menu-bar item that only records what it was asked to do, so tests can count
// redraws and look at the label without a tray host.
#pragma once

#include "app/menubar/StatusItem.h"

namespace qm::app::test {

class FakeStatusItem : public StatusItem {
public:
    explicit FakeStatusItem(bool host = true) : host_(host) {}
    bool hostAvailable() const override { return host_; }
    void install() override { installed_ = true; }
    void uninstall() override { installed_ = false; }
    bool installed() const override { return installed_; }
    void setLabel(const MenuBarLabel& label) override { labels.push_back(label); }
    void setMenu(QMenu* m) override { menu = m; }
    QRect geometry() const override { return {}; }
    void setHost(bool host) { host_ = host; }  // a tray panel starts or stops

    std::vector<MenuBarLabel> labels;
    QMenu* menu = nullptr;

private:
    bool host_;
    bool installed_ = false;
};

}  // namespace qm::app::test
