#include "token/rules/desx.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <memory>
#include <random>

#include "tests/toolbox/watched_token.h"

namespace {

TEST(Desx, IsThatOfAnotherImplementation) {
    std::mt19937 random(25);
    const QVFileSystem fs;
    WatchedToken token;
    EXPECT_EQ(fs.createFile(token.talker, "3f000001", false), 0);
    OSSL_PROVIDER_load(nullptr, "legacy");
    static EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "DESX-CBC", nullptr);
    static EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    for (int round = 0; round < 200; ++round) {
        Bytes key(24);
        std::generate(key.begin(), key.end(), [&] { return static_cast<u8>(random()); });
        std::fill_n(key.begin(), round == 0 ? 8 : 0, u8{1});  // a weak key is one like others
        Bytes blocks(key.begin() + 16, key.end());
        Bytes output;
        EXPECT_EQ(fs.writeFile(token.talker, "3f000001", Bytes(key.begin(), key.begin() + 16)), 0);
        EXPECT_EQ(fs.desx(token.talker, "3f000001", true, blocks, output), 0);
        std::copy_n(key.begin() + 8, 8, key.begin() + 16);
        blocks.resize(16, 8);
        for (u8* const block : {&blocks[0], &blocks[8]}) {
            int length = 0;
            EVP_EncryptInit_ex2(context, cipher, key.data(), Bytes(8).data(), nullptr);
            EVP_EncryptUpdate(context, block, &length, block, 8);
        }
        EXPECT_EQ(output, blocks);
    }
}

}  // namespace
