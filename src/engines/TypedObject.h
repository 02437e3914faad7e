#pragma once

#include <cstring>

namespace UMC {

/// The static function by whose address a class is known; it gives the class's name.
using ClassNameFunction = const char* (*)();

/// What every class of the engines answers: whether an object is of a class, which is the class's own name or that of
/// a class it derives from. A class Self derives from Typed<Self, Base> and declares a public ClassName.
class TypedObject {
public:
    virtual bool IsKindOf(ClassNameFunction name) const {
        (void)name;
        return false;
    }
    virtual bool IsKindOf(const char* name) const {
        (void)name;
        return false;
    }
    virtual ~TypedObject() = default;

protected:
    TypedObject() = default;
    TypedObject(const TypedObject&) = default;
    TypedObject& operator=(const TypedObject&) = default;
};

template <class Self, class Base>
class Typed : public Base {
public:
    using Base::Base;
    bool IsKindOf(ClassNameFunction name) const override { return name == &Self::ClassName || Base::IsKindOf(name); }
    bool IsKindOf(const char* name) const override {
        return name != nullptr && (std::strcmp(name, Self::ClassName()) == 0 || Base::IsKindOf(name));
    }
};

/// @return the object as what it is; null when it is null or of another class.
template <class Target>
Target* As(TypedObject* object) {
    return object != nullptr && object->IsKindOf(&Target::ClassName) ? static_cast<Target*>(object) : nullptr;
}
template <class Target>
const Target* As(const TypedObject* object) {
    return object != nullptr && object->IsKindOf(&Target::ClassName) ? static_cast<const Target*>(object) : nullptr;
}

}  // namespace UMC
