#pragma once

class QColor;
class QPalette;

// Makes text and signs near-black or near-white, whichever reads on the background: fixed colours of rows
// meet light and dark palettes. Disabled text stays paler than the other.
void setReadableText(QPalette& palette, const QColor& background);
