#include "properties/SpinBoxEditor.h"

#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QValidator>

QPTVDoubleSpinBox::QPTVDoubleSpinBox(QWidget* parent) : QDoubleSpinBox(parent) {
    // Where a point groups digits, the text "0.5" of this box would be read back as 5.
    setLocale(QLocale::c());
}

QString QPTVDoubleSpinBox::textFromValue(double number) const {
    return QString("%1").arg(number, 4, 'g', decimals(), QChar(' '));
}

namespace {

// Runs before the box's own validator and then calls it.
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
