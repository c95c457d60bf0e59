// SPDX-License-Identifier: MIT
// A host outside the project: makes a record list and says which library it got.
#include <Brennvox10/Brennvox10.h>

#include <QApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    Brennvox10::ctlListRecord list;
    std::printf("%s %s %s\n", qPrintable(Brennvox10::libraryName()), qPrintable(Brennvox10::libraryVersion()),
        qPrintable(list.objectName()));
    return 0;
}
