// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJApplication.h"
#include "qjapplicationlaunch_p.h"

QJApplication::QJApplication(int &argc, char **argv) : QApplication(argc, argv), m_launch(new QJApplicationLaunch(this))
{ }

QJApplication::~QJApplication()
{
    delete m_launch;
}

void QJApplication::finishLaunching()
{
    m_launch->finishLaunching();
}

QJBootManager *QJApplication::bootManager() const
{
    return m_launch->bootManager();
}
