// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterStdIO.h>

#include "vnAdapterError.h"

#include <vnBase/vnConsole.h>
#include <vnBase/vnSystem.h>

vnType vnSerializeAdapterStdIO::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterStdIO");

namespace
{
constexpr unsigned char VN_BACKSPACE = 8;

unsigned char put(unsigned char byte)
{
    return vn_putch(byte) >= 0;
}
} // namespace

vnSerializeAdapterStdIO::vnSerializeAdapterStdIO()
{
    setName("StdIO");
}

vnSerializeAdapterStdIO::~vnSerializeAdapterStdIO() noexcept(false)
{
    vn_flush();
}

void vnSerializeAdapterStdIO::flush()
{
    vnSerializeAdapter::flush();
    if (!vn_flush())
        reportWriteError();
}

void vnSerializeAdapterStdIO::write_imp(unsigned char byte)
{
    unsigned char done = put(byte);
    if (byte == VN_BACKSPACE)
        done = done && put(' ') && put(VN_BACKSPACE);
    if (!done)
        reportWriteError();
}

void vnSerializeAdapterStdIO::reportWriteError()
{
    const vnString reason = vnGetSysErrorDescription(); // before anything else changes it
    setError(vnWithReason(vnTranslated("Could not write to the console"), reason));
}

unsigned char vnSerializeAdapterStdIO::read_imp()
{
    const int key = vn_getch();
    if (key >= 0)
        return static_cast<unsigned char>(key);
    setError(vnTranslated("Console read beyond end"));
    return 0;
}

unsigned int vnSerializeAdapterStdIO::length_imp()
{
    return vn_kbhit();
}

unsigned char vnSerializeAdapterStdIO::hasData_imp()
{
    return vn_kbhit();
}
