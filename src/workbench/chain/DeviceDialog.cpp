#include "chain/DeviceDialog.h"

#include "model/BatchOptions.h"
#include "panes/Look.h"
#include "properties/SpinBoxEditor.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace ombrel::workbench {

void DeviceChoice::ask(QWidget& parentOfDialog) {
    DeviceDialog dialog(workspace.device(), &parentOfDialog);
    if (dialog.exec() == QDialog::Accepted)
        tryOut(dialog.device());
}

// Runs on the worker's thread, where files are read.
void DeviceChoice::tryOut(const DeviceState& device) {
    worker.run([this, device, facts = workspace.facts()](StackViewer&) {
        const MaskOptions mask = maskOptions(device);
        if (mask.isFile())
            readPixelMask(mask.source, mask.convention, facts.width, facts.height);
        const auto done = [this, device, opening = facts.opening] { takeOver(device, opening); };
        QMetaObject::invokeMethod(this, done, Qt::QueuedConnection);
    });
}

void DeviceChoice::takeOver(const DeviceState& device, int opening) {
    if (opening == workspace.wanted().opening) // otherwise other files were requested meanwhile
        workspace.setDevice(device);
}

namespace {

constexpr double longestTime = 1e6; // seconds
constexpr int maskWidth = 320;

QLabel* explanation(const QString& text) {
    auto* const label = newChild<QLabel>(text);
    label->setWordWrap(true);
    secondaryText(*label);
    return label;
}

} // namespace

DeviceDialog::DeviceDialog(const DeviceState& device, QWidget* parent)
    : QDialog(parent), maskEdit(newChild<QLineEdit>()), timeEdit(newChild<QDoubleSpinBox>()) {
    setWindowTitle("Detector");
    maskEdit->setObjectName("edMask");
    maskEdit->setPlaceholderText("The one stored next to the frames");
    maskEdit->setText(QString::fromStdString(device.mask));
    maskEdit->setClearButtonEnabled(true);
    maskEdit->setMinimumWidth(maskWidth);
    timeEdit->setObjectName("sbTime");
    timeEdit->setDecimals(6);
    timeEdit->setMaximum(longestTime);
    timeEdit->setSuffix(" s");
    timeEdit->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    timeEdit->setSpecialValueText("As in the files"); // shown instead of 0
    timeEdit->setValue(device.acqTime.value_or(0));
    takeEitherSeparator(*timeEdit);

    auto* const form = newChild<QFormLayout>(this);
    auto* const maskLabel = newChild<QLabel>("Pixel &mask");
    maskLabel->setBuddy(maskEdit);
    form->addRow(maskLabel, makeMaskRow());
    form->addRow(
        QString(),
        explanation("A mask file, or a frame whose pixels of value 0 are masked; \"none\" for no mask."));
    form->addRow("&Acquisition time", timeEdit);
    form->addRow(QString(), explanation("Of every frame. Batch runs use both settings."));
    auto* const buttons = newChild<QDialogButtonBox>(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

QWidget* DeviceDialog::makeMaskRow() {
    auto* const row = newChild<QWidget>();
    auto* const layout = newChild<QHBoxLayout>(row);
    layout->setContentsMargins({});
    auto* const browse = newChild<QPushButton>("&Browse\u2026");
    layout->addWidget(maskEdit, 1);
    layout->addWidget(browse);
    connect(browse, &QPushButton::clicked, this, [this] {
        const QString path = QFileDialog::getOpenFileName(this, "Pixel mask", maskEdit->text());
        if (!path.isEmpty())
            maskEdit->setText(path);
    });
    return row;
}

DeviceState DeviceDialog::device() const {
    DeviceState device;
    device.mask = maskEdit->text().trimmed().toStdString();
    if (timeEdit->value() > 0)
        device.acqTime = timeEdit->value();
    return device;
}

} // namespace ombrel::workbench
