#ifndef UTILITY_FUNCTOR_H
#define UTILITY_FUNCTOR_H

// The suite's one-argument functor interface. Callers derive concrete actions from
// it; the library only calls them and deletes them through the virtual destructor.
// The call comes first in the virtual table and the destructor second, so an
// action built against the suite's other modules can be handed over as it is.
template<typename P1, typename R>
class IFunctorP1R
{
public:
    virtual R operator()(P1 argument) = 0;
    virtual ~IFunctorP1R() {}
};

#endif // UTILITY_FUNCTOR_H
