// Dialog and control numbers, for the code and the resource compiler alike.
#pragma once

#define PAGE_DIALOG 1
#define PAGE_VERSION 10
#define PAGE_FOLDER 11
#define PAGE_STATE 12
#define PAGE_HINT 13
