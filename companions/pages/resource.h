// Dialog, control and string numbers, for the code and the resource compiler alike.
#pragma once

#define PAGE_DIALOG 1
#define PAGE_VERSION 10
#define PAGE_FOLDER 11
#define PAGE_STATE 12
#define PAGE_HINT 13
#define PAGE_INSTALLATION_GROUP 14
#define PAGE_VERSION_LABEL 15
#define PAGE_FOLDER_LABEL 16
#define PAGE_MENU_GROUP 17
#define PAGE_STATE_LABEL 18

// Strings of every language.
#define TEXT_INSTALLATION 101
#define TEXT_VERSION 102
#define TEXT_FOLDER 103
#define TEXT_MENU 104
#define TEXT_STATE 105
#define TEXT_UNKNOWN 106  // the folder
#define TEXT_ALLOWED 107
#define TEXT_REFUSED 108
#define TEXT_SELECTION_HINT 109
#define TEXT_HINT 110
