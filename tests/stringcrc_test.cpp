#include <utility/stringcrc.h>

#include <gtest/gtest.h>

TEST(CStringCRC, IsTheComplementOfCrc32OverUtf8)
{
    struct Case
    {
        QString text;
        unsigned long expected;
    };
    const Case cases[] = {
        {QString(), 0xFFFFFFFFul},
        {QStringLiteral("123456789"), 0x340BC6D9ul},
        {QString(QChar(0xE9)), 0xF1FB72C1ul},
    };
    for (const Case &c : cases)
        EXPECT_EQ(CStringCRC(c.text).value(), c.expected) << c.text.toStdString();
    EXPECT_EQ(CStringCRC().value(), 0ul);
    EXPECT_NE(CStringCRC(), CStringCRC(QString()));
    EXPECT_EQ(CStringCRC(0x340BC6D9ul), CStringCRC(QStringLiteral("123456789")));
}
