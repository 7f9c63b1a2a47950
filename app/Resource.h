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

// The properties sheet's pages and their controls.
#define IDD_PAGE_VIEWER 30
#define IDD_PAGE_INDEX 31
#define IDD_PAGE_PROGRAM 32
#define IDD_PAGE_OPTIONS 33
#define IDC_UNINSTALL 202
#define IDC_VISIT_WEB_PAGE 204
#define IDC_INFO_OPENED 210
#define IDC_INFO_SAVED 211
#define IDC_INFO_SYSTEM 212
#define IDC_INFO_PROCESSOR 213
#define IDC_INFO_DISPLAY 214
#define IDC_INFO_IMAGE 215
#define IDC_INFO_SOURCE 216
#define IDC_INFO_VERSION 217
#define IDC_USE_MAX_COLORS 220
#define IDC_FIXED_PALETTE 221
#define IDC_DITHER 222
#define IDC_DITHER15 223
#define IDC_RUN_MAXIMIZED 224
#define IDC_TITLE_RES 225
#define IDC_AUTO_SIZE 226
#define IDC_FAST_DCT 227
#define IDC_FAST_UNSUBSAMPLE 228
#define IDC_SHOW_DIRS 230
#define IDC_SHOW_OTHER 231
#define IDC_SHOW_RES 232
#define IDC_SHOW_SIZE 233
#define IDC_ICON_X 234
#define IDC_ICON_Y 235
#define IDC_ICON_SPACING 236
