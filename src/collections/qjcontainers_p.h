// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjvalue_p.h"

// The identity of the array or dictionary that @p value holds (nullptr for anything else): the
// iterative walks keep the containers on their current path by it, so that a container that
// contains itself is not entered again.
inline const void *qjContainerIdentity(const QJValue &value)
{
    if (value.isArray())
        return QJValuePrivate::data(value.toArray());
    if (value.isDictionary())
        return QJValuePrivate::data(value.toDictionary());
    return nullptr;
}
