#include "panes/FrameBar.h"

#include "panes/Look.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>

#include <algorithm>
#include <limits>
#include <utility>

namespace ombrel::workbench {

namespace {

constexpr int filmMilliseconds = 60; // per frame, if the chain keeps up

// Drawn in the colour of the text: the toolkit's own icons are dark on dark.
QIcon playSign(const QPalette& palette, bool isPause) {
    QIcon icon;
    for (const auto& [mode, group] :
         {std::pair(QIcon::Normal, QPalette::Active), std::pair(QIcon::Disabled, QPalette::Disabled)}) {
        QPixmap picture(64, 64);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(palette.color(group, QPalette::ButtonText));
        if (isPause)
            painter.drawRects(QList<QRect>{{14, 10, 13, 44}, {37, 10, 13, 44}});
        else
            painter.drawPolygon(QPolygon({{14, 8}, {54, 32}, {14, 56}}));
        icon.addPixmap(picture, mode);
    }
    return icon;
}

} // namespace

FrameBar::FrameBar(QWidget* parent)
    : QWidget(parent), slider(newChild<QSlider>(Qt::Horizontal)), number(newChild<QSpinBox>()),
      total(newChild<QLabel>()), playButton(newChild<QToolButton>()) {
    playButton->setObjectName("btPlay");
    playButton->setCheckable(true);
    playButton->setIcon(playSign(palette(), false));
    playButton->setToolTip("Play the frames (P)");
    slider->setObjectName("slFrame");
    slider->setPageStep(10);
    number->setObjectName("sbFrame");
    number->setKeyboardTracking(false);
    auto* const layout = newChild<QHBoxLayout>(this);
    layout->setContentsMargins(6, 2, 6, 2);
    layout->addWidget(playButton);
    layout->addWidget(slider, 1);
    auto* const label = newChild<QLabel>("Fram&e");
    label->setBuddy(number);
    layout->addWidget(label);
    layout->addWidget(number);
    layout->addWidget(total);

    film.setSingleShot(true);
    film.setInterval(filmMilliseconds);
    connect(&film, &QTimer::timeout, this, &FrameBar::nextOfFilm);
    connect(slider, &QSlider::valueChanged, this,
            [this](int frame) { emit frameWanted(static_cast<zt::u64>(frame)); });
    connect(number, &QSpinBox::valueChanged, slider, &QSlider::setValue);
    connect(playButton, &QToolButton::toggled, this, &FrameBar::play);
    setFrames(0);
}

void FrameBar::setFrames(zt::u64 count) {
    const int last =
        static_cast<int>(std::min<zt::u64>(std::max<zt::u64>(count, 1) - 1, std::numeric_limits<int>::max()));
    const QSignalBlocker quietSlider(slider);
    const QSignalBlocker quietNumber(number);
    slider->setRange(0, last);
    number->setRange(0, last);
    total->setText(count == 0 ? QString() : QString("of %1 (0 to %2)").arg(count).arg(last));
    setEnabled(count != 0);
    if (count == 0)
        play(false);
}

void FrameBar::setFrame(zt::u64 frame) {
    const QSignalBlocker quietSlider(slider);
    const QSignalBlocker quietNumber(number);
    slider->setValue(static_cast<int>(frame));
    number->setValue(static_cast<int>(frame));
}

void FrameBar::frameIsShown() {
    if (isPlaying() && !film.isActive())
        film.start();
}

void FrameBar::step(int frames) {
    slider->setValue(slider->value() + frames);
}

void FrameBar::goToEnd(bool last) {
    slider->setValue(last ? slider->maximum() : 0);
}

void FrameBar::play(bool isToPlay) {
    const QSignalBlocker quiet(playButton);
    playButton->setChecked(isToPlay);
    playButton->setIcon(playSign(palette(), isToPlay));
    if (isToPlay)
        film.start();
    else
        film.stop();
}

void FrameBar::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        playButton->setIcon(playSign(palette(), isPlaying()));
}

bool FrameBar::isPlaying() const {
    return playButton->isChecked();
}

void FrameBar::nextOfFilm() {
    slider->setValue(slider->value() == slider->maximum() ? 0 : slider->value() + 1);
}

} // namespace ombrel::workbench
