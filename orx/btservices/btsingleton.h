// One object of a class for the whole process.
#pragma once

#include "orx/base/export.h"

/// Access to the one object of class T, which is made at first use, on whichever thread that is.
///
/// Every module of the process gets the same object, because `Instance` exists in one module only: the header of
/// T declares `extern template class BtSingleton<T>;`, and the source of T includes
/// btsingletoninstance.h and has `template class BtSingleton<T>;`. A class that lacks these lines does
/// not link.
///
/// The objects are destroyed when the process ends, in the reverse order of their making. A class whose
/// destructor needs another singleton therefore calls that one's `Instance` in its constructor. After the end
/// of `main`, no object that was made before a singleton may use it in its destructor.
///
/// T is constructed without arguments; it may keep its constructor private and name `BtSingleton<T>` a friend.
template <typename T>
class ORX_EXPORT BtSingleton
{
public:
    BtSingleton() = delete;

    static T& Instance();
};
