#include <iterator>

#include "core/SaveAs.h"
#include "formats/Writers.h"

// The description differs in case from the import table's "Microsoft Windows
// Bitmap"; both texts are as users have always seen them.
const ExportFormat kExportFormats[kExportFormatCount] = {
    {"bmp", vte_BMP, "Microsoft Windows BitMap"},
};
static_assert(std::size(kExportFormats) == 1);
