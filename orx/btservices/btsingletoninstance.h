// Where the objects of BtSingleton live; for the one source file that instantiates BtSingleton for a class.
#pragma once

#include "orx/btservices/btsingleton.h"

template <typename T>
T& BtSingleton<T>::Instance()
{
    static T s_instance;
    return s_instance;
}
