// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "NameRules.h"

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

QString NameRules::problem(const QString& name)
{
    if (name.isEmpty())
        return u"a name cannot be empty"_s;
    if (name == u"."_s || name == u".."_s || name.contains(u".."_s))
        return u"a name cannot be or contain \"..\""_s;
    if (name.contains(u'/') || name.contains(u'\\'))
        return u"a name cannot contain \"/\" or \"\\\""_s;
    for (const QChar c : name) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return u"a name cannot contain control characters"_s;
    }
    if (name.toUtf8().size() > 255)
        return u"a name cannot be longer than 255 bytes"_s;
    return QString();
}

} // namespace Trelan::Oku::ZYRCli
