#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <string>
#include <utility>
#include <vector>

#include "app/sections/SectionStyle.h"
#include "app/widgets/AppTheme.h"
#include "app/widgets/Tones.h"

namespace qm::app {
namespace {

uint32_t rgb(const QColor& color) { return static_cast<uint32_t>(color.rgb()) & 0xFFFFFFU; }

TEST(AppearanceTest, EveryTextAndChartColourKeepsItsContrastInLightAndDark) {
    EXPECT_NEAR(contrastRatio(0x000000, 0xFFFFFF), 21.0, 0.01);
    EXPECT_NEAR(contrastRatio(0x777777, 0x777777), 1.0, 0.01);

    QLabel* quiet = makeText("quiet words", nullptr, true);
    for (Appearance appearance : {Appearance::light, Appearance::dark}) {
        applyAppearance(appearance);
        const std::string scheme(rawValue(appearance));
        EXPECT_EQ(darkPalette(), appearance == Appearance::dark) << scheme;
        const QPalette palette = QApplication::palette();
        std::vector<std::pair<std::string, QColor>> inks{
            {"text", palette.color(QPalette::Text)},
            {"window text", palette.color(QPalette::WindowText)},
            {"quiet text", palette.color(QPalette::PlaceholderText)},
            {"cpu", cpuColor()},
            {"memory", memoryColor()},
            {"power", powerColor()},
            {"network", networkColor()},
            {"disk", diskColor()},
            {"good", verdictColor(Insights::Tone::good)},
            {"warn", verdictColor(Insights::Tone::warn)},
            {"bad", verdictColor(Insights::Tone::bad)},
            {"secondary", verdictColor(Insights::Tone::secondary)},
        };
        for (size_t part = 0; part < 5; ++part)
            inks.emplace_back("memory part " + std::to_string(part), memoryPartColor(part));
        for (QPalette::ColorRole ground : {QPalette::Window, QPalette::Base, QPalette::AlternateBase})
            for (const auto& [name, ink] : inks)
                EXPECT_GE(contrastRatio(rgb(ink), rgb(palette.color(ground))), 4.5)
                    << scheme << ": " << name << " " << ink.name().toStdString() << " on "
                    << palette.color(ground).name().toStdString();
        EXPECT_GE(contrastRatio(rgb(palette.color(QPalette::HighlightedText)), rgb(palette.color(QPalette::Highlight))),
                  4.5)
            << scheme << ": the selected row";
        // A quiet label made before the change follows it.
        EXPECT_EQ(quiet->palette().color(QPalette::WindowText), palette.color(QPalette::PlaceholderText)) << scheme;
    }
    applyAppearance(Appearance::system);
    EXPECT_FALSE(darkPalette()) << "back to the desktop's palette";
    delete quiet;
}

}  // namespace
}  // namespace qm::app
