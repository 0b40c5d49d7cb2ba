// "What's New in Quillmere": shown once after an update, one row per item of the
// version's note (a coloured mark, the title, the detail) and "Continue".
#pragma once

#include <QDialog>

#include "shell/UpdateNotes.h"

namespace qm::app {

class WhatsNewSheet : public QDialog {
    Q_OBJECT
public:
    WhatsNewSheet(const ReleaseNote& note, QWidget* parent = nullptr);
};

}  // namespace qm::app
