#pragma once

#include <QDoubleSpinBox>

// The box for double values. It shows as many significant digits as it has decimals, and so small and large
// numbers alike: with 4 decimals " 0.5", "12.35", "1.235e+07". The point is a point in every locale, in the
// text that is shown and in the text that is typed.
class QPTVDoubleSpinBox : public QDoubleSpinBox {
    Q_OBJECT

public:
    explicit QPTVDoubleSpinBox(QWidget* parent = nullptr);

    QString textFromValue(double number) const override;
};
