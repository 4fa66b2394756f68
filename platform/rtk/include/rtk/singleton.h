#ifndef RTK_SINGLETON_H
#define RTK_SINGLETON_H

#include "rtk/assert.h"

#include <cstddef>
#include <utility>

namespace rtk
{
// Base of the system's singletons. T derives from Singleton<T>; createInstance constructs the one
// object, getInstance hands it out, destroyInstance deletes it and clears the instance pointer.
// The instance pointer is a template static with vague linkage, so the dynamic linker makes it one
// object across every shared library that uses the same T.
template <class T>
class Singleton
{
public:
    template <class... Args>
    static T* createInstance(Args&&... args)
    {
        RTK_ASSERT(s_pInstance == NULL);
        T* pInstance = new T(std::forward<Args>(args)...);
        s_pInstance = pInstance;
        return pInstance;
    }

    static T* getInstance()
    {
        RTK_ASSERT(s_pInstance);
        return s_pInstance;
    }

    // True while the instance exists; for callers that may run before creation or after destruction.
    static bool hasInstance() { return s_pInstance != NULL; }

    static void destroyInstance()
    {
        // The destructor may still reach the instance through getInstance; clear the pointer after it.
        delete s_pInstance;
        s_pInstance = NULL;
    }

protected:
    Singleton() {}
    virtual ~Singleton() {}

    // For singletons whose constructor must be reachable through getInstance before it returns
    // (objects made elsewhere than createInstance register themselves here).
    static void setInstance(T* pInstance)
    {
        RTK_ASSERT(s_pInstance == NULL);
        s_pInstance = pInstance;
    }

private:
    Singleton(Singleton const&) = delete;
    Singleton& operator=(Singleton const&) = delete;

    static T* s_pInstance;
};

template <class T>
T* Singleton<T>::s_pInstance = NULL;

} // namespace rtk

#endif
