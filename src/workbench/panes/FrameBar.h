#pragma once

#include "zt/Types.h"

#include <QTimer>
#include <QWidget>

class QLabel;
class QSlider;
class QSpinBox;
class QToolButton;

namespace ombrel::workbench {

// Selects a frame of the stack: by a slider, by number, or by playing a film.
class FrameBar final : public QWidget {
    Q_OBJECT
public:
    explicit FrameBar(QWidget* parent = nullptr);

    void setFrames(zt::u64 count);
    void setFrame(zt::u64 frame);
    // The requested frame is on the screen, so the film continues.
    void frameIsShown();
    void step(int frames);
    void goToEnd(bool last);
    void play(bool isPlaying);
    bool isPlaying() const;

signals:
    void frameWanted(zt::u64 frame);

private:
    void nextOfFilm();
    void changeEvent(QEvent* event) override;

    QSlider* slider;
    QSpinBox* number;
    QLabel* total;
    QToolButton* playButton;
    QTimer film;
};

} // namespace ombrel::workbench
