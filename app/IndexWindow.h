// The index window "VantirelIndexWnd": the pictures of one directory as
// thumbnails, the other items with their shell icons, each with a label; a
// click opens an entry in a process of its own. IndexWindowMain (app/Seams.h)
// runs it. The pieces below are the window's own, open to the tests.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "app/IndexLogic.h"

// Fills the list from the current directory ("." left out, ".." kept,
// directories only when asked for) and returns the count.
int ScanIndexDirectory(IndexList* list, bool showDirectories);

// Makes an entry's thumbnail: a file that a reader accepts becomes a
// picture (kind 1) with a thumbnail fitted into iconX x iconY; a directory,
// any other file and a picture that fails to load get the shell's icon.
void MakeIndexThumbnail(IndexEntry* entry, int iconX, int iconY);

// The label font: "arial", 13 pixels, normal weight.
HFONT CreateIndexLabelFont();
// T: the height of "Jj" in that font.
int IndexTextHeight(HDC deviceContext, HFONT font);

// Draws one cell (frame, bevel, picture or icon, label, white margins) when
// it reaches into the band visibleTop ... visibleBottom; entry null fills
// the whole cell white.
void PaintIndexCell(const IndexEntry* entry, HDC deviceContext, HFONT font, int column, int row,
                    const IndexMetrics& metrics, int scroll, int visibleTop, int visibleBottom,
                    bool pressed);

// Opens an entry: a directory as an index and a picture as a viewer, each in
// a new process of the program, any other file through the shell. A failed
// start says "Couldn't execute Vantirel.EXE".
bool OpenIndexEntry(const IndexEntry& entry);
