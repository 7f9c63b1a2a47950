// Resource identifiers shared by the resource script and the code.
#pragma once

#define IDI_VANTIREL 20        // 32x32
#define IDI_VANTIREL_SMALL 21  // 16x16
#define IDI_PICTURE_FILE 22    // the file-type icon (",2")
#define IDD_PROGRESS 10
#define IDC_PROGRESS_STATUS 97
#define IDC_PROGRESS_BAR 98
#define IDD_OPEN_TEMPLATE 13
#define IDC_OPEN_INFO 151
#define IDC_OPEN_INDEX 152
