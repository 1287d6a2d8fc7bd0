#include "properties/SpinBoxEditor.h"

#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QValidator>

namespace {

// Before the box's own, which it asks.
class EitherSeparator : public QValidator {
public:
    EitherSeparator(const QValidator& ownOfBox, QDoubleSpinBox& edited)
        : QValidator(&edited), own(ownOfBox), box(edited) {}

    State validate(QString& text, int& cursor) const override {
        const QString separator = box.locale().decimalPoint();
        text.replace('.', separator).replace(',', separator);
        return own.validate(text, cursor);
    }
    void fixup(QString& text) const override { own.fixup(text); }

private:
    const QValidator& own;
    const QDoubleSpinBox& box;
};

} // namespace

QSpinBox* makeSpinBox(QWidget* parent, int min, int max, int value) {
    auto* const box = new QSpinBox(parent);
    box->setMinimum(min);
    box->setMaximum(max);
    box->setValue(value);
    return box;
}

QVariant spinBoxValue(QWidget* editor) {
    const auto* const box = qobject_cast<QSpinBox*>(editor);
    return box ? box->value() : 0;
}

void takeEitherSeparator(QDoubleSpinBox& box) {
    auto* const line = box.findChild<QLineEdit*>();
    line->setValidator(new EitherSeparator(*line->validator(), box));
}
