/* The numbers of the program's resources. */
#ifndef VIEWER_WIN32_TEXTS_H_
#define VIEWER_WIN32_TEXTS_H_

#define VIEWER_ICON 1
#define VIEWER_TEXT_ABOUT 100

#endif
