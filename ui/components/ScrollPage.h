#pragma once

class QVBoxLayout;
class QWidget;

// Fills `owner` with a frameless, vertically scrolling page and returns the page's layout, with
// 20-point margins: the frame every full-height screen of the detail area shares.
QVBoxLayout* addScrollPage(QWidget* owner, int spacing);
