#pragma once

/// Lets an installed Chinese face stand in for the design's one, so that one face draws all glyphs of a text. After
/// QApplication, before the first window.
void substituteMissingFonts();
