#ifndef UTILITY_EXCEPTION_H
#define UTILITY_EXCEPTION_H

#include <utility/utility_export.h>

#include <QString>

// The library's exception value: a message and an integer code, thrown and caught
// by value. It deliberately has no base class; catch it by its own type.
class UTILITY_EXPORT CException
{
public:
    CException() = default;
    CException(const QString &message, int errorCode);
    CException(const CException &other) = default;
    CException &operator=(const CException &other) = default;
    ~CException() = default;

    QString message() const;
    int errorCode() const;

private:
    QString m_message;
    qint32 m_errorCode = 0;
};

#endif // UTILITY_EXCEPTION_H
