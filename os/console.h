// The console file: the launcher has no console of its own.
#ifndef QVX_OS_CONSOLE_H
#define QVX_OS_CONSOLE_H

int OSOpenConsole(void* first, void* second, void* third, void* fourth);  ///< 0
void OSCloseConsole(void* first, void* second);
int OSConsoleSupported();  ///< 1

/// Appends `text` to the console file, "/console.bug". Nothing happens when the file cannot be
/// opened.
void OSOutputConsole(const char* text);

#endif
