// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJCoreApplication.h"
#include "qjapplicationlaunch_p.h"

QJCoreApplication::QJCoreApplication(int &argc, char **argv)
    : QCoreApplication(argc, argv), m_launch(new QJApplicationLaunch(this))
{ }

QJCoreApplication::~QJCoreApplication()
{
    delete m_launch;
}

void QJCoreApplication::finishLaunching()
{
    m_launch->finishLaunching();
}

QJBootManager *QJCoreApplication::bootManager() const
{
    return m_launch->bootManager();
}
