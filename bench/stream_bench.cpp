// SPDX-License-Identifier: MIT
// stream_bench.cpp - typed values and blocks as hexadecimal text, out and in.
#include "System/vlDataStream.h"
#include "bench/Bench.h"

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QIODevice>

#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <unistd.h>
#include <vector>

using namespace Veltrano;
using benchmark::DoNotOptimize;

namespace {

constexpr int kValues = 50; // 26 bytes each: within the buffer that an output begins with
constexpr SInt32 kBlock = 1500;

const std::string kFile = "/tmp/stream_bench." + std::to_string(getpid());

template <typename Output> void WriteValues(Output& out)
{
    for (int i = 0; i < kValues; ++i) {
        out.writeInt16(i);
        out.writeInt32(i * 77777);
        out.writeInt64(SInt64 { i } << 33);
        out.writeFloat(0.5F);
        out.writeDouble(i * 1.25);
    }
}

const std::string& BlockBytes()
{
    static const std::string bytes = [] {
        std::string all;
        for (int i = 0; i < kBlock; ++i)
            all += static_cast<char>(i * 31);
        return all;
    }();
    return bytes;
}

void EncodeByTable(const std::string& bytes, char* out)
{
    static const auto table = [] {
        std::vector<uint16_t> pairs(256);
        for (unsigned i = 0; i < 256; ++i) {
            char digits[3];
            snprintf(digits, sizeof digits, "%02X", i);
            memcpy(&pairs[i], digits, 2);
        }
        return pairs;
    }();
    size_t n = 0;
    size_t column = 0;
    for (const char c : bytes) {
        memcpy(out + n, &table[static_cast<unsigned char>(c)], 2);
        n += 2;
        if (++column == 35) {
            out[n++] = '\r';
            out[n++] = '\n';
            column = 0;
        }
    }
    out[n] = 0;
}

// A text of 1 MB that is 35 bytes a line.
void MakeFile()
{
    std::ofstream file(kFile, std::ios::binary);
    for (int i = 0; i < (1 << 20) / 72; ++i) {
        for (int j = 0; j < 35; ++j) {
            char digits[3];
            snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(i + j) & 0xFFU);
            file << digits;
        }
        file << "\r\n";
    }
}

} // namespace

void AddBenchmarks()
{
    MakeFile();
    std::atexit([] { remove(kFile.c_str()); });
    Add("typed writes, 1300 bytes", "ours", [] {
        DataOutputFile out;
        WriteValues(out);
        DoNotOptimize(out.GetText());
    });
    Add("typed writes, 1300 bytes", "QDataStream + toHex", [] {
        QByteArray bytes;
        {
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out.setByteOrder(QDataStream::LittleEndian);
            for (int i = 0; i < kValues; ++i)
                out << qint16(i) << qint32(i * 77777) << (qint64(i) << 33) << 0.5F << i * 1.25;
        }
        DoNotOptimize(bytes.toHex());
    });
    Add("typed writes, 1300 bytes", "Boost archive", [] {
        std::ostringstream text;
        boost::archive::text_oarchive out(text);
        for (int i = 0; i < kValues; ++i) {
            const short a = static_cast<short>(i);
            const int b = i * 77777;
            const long c = long { i } << 33;
            const float d = 0.5F;
            const double e = i * 1.25;
            out << a << b << c << d << e;
        }
        DoNotOptimize(text);
    });
    Add("block write, 1500 bytes", "ours", [] {
        DataOutputFile out;
        out.write(BlockBytes().data(), kBlock);
        DoNotOptimize(out.GetText());
    });
    Add("block write, 1500 bytes", "floor", [] { // a table of digit pairs, with line ends
        char* text = new char[4096];
        EncodeByTable(BlockBytes(), text);
        DoNotOptimize(text);
        delete[] text;
    });
    constexpr SInt32 kFileBytes = (1 << 20) / 72 * 35;
    static std::vector<char> destination(kFileBytes);
    Add("block read, 1 MB of text", "ours", [] {
        DataInputFile in(kFile.c_str());
        in.read(destination.data(), kFileBytes);
        DoNotOptimize(destination);
    });
    Add("block read, 1 MB of text", "floor", [] { // each character with getc_unlocked
        FILE* file = fopen(kFile.c_str(), "rb");
        size_t n = 0;
        int high = -1;
        for (int c; (c = getc_unlocked(file)) != EOF;) {
            const int digit = c >= '0' && c <= '9' ? c - '0'
                : c >= 'A' && c <= 'F'             ? c - 'A' + 10
                                                   : -1;
            if (digit < 0)
                continue;
            if (high < 0) {
                high = digit;
            } else {
                destination[n++] = static_cast<char>(high << 4 | digit);
                high = -1;
            }
        }
        fclose(file);
        DoNotOptimize(destination);
    });
    Add("block read, 1 MB of text", "QByteArray::fromHex", [] {
        FILE* file = fopen(kFile.c_str(), "rb");
        QByteArray text(1 << 20, Qt::Uninitialized);
        text.resize(static_cast<qsizetype>(fread(text.data(), 1, 1 << 20, file)));
        fclose(file);
        DoNotOptimize(QByteArray::fromHex(text));
    });
    Add("typed reads, 26 KB of values", "ours", [] {
        DataInputFile in(kFile.c_str());
        for (int i = 0; i < 1000; ++i) {
            DoNotOptimize(in.readInt16());
            DoNotOptimize(in.readInt32());
            DoNotOptimize(in.readInt64());
            DoNotOptimize(in.readFloat());
            DoNotOptimize(in.readDouble());
        }
    });
    Add("typed reads, 26 KB of values", "QDataStream", [] {
        static const QByteArray hex = [] {
            FILE* file = fopen(kFile.c_str(), "rb");
            QByteArray text(54000, Qt::Uninitialized);
            text.resize(static_cast<qsizetype>(fread(text.data(), 1, 54000, file)));
            fclose(file);
            return text;
        }();
        QByteArray bytes = QByteArray::fromHex(hex);
        QDataStream in(bytes);
        in.setByteOrder(QDataStream::LittleEndian);
        for (int i = 0; i < 1000; ++i) {
            qint16 a;
            qint32 b;
            qint64 c;
            float d;
            double e;
            in >> a >> b >> c >> d >> e;
            DoNotOptimize(e);
        }
    });
}
