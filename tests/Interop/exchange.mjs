// The other side of the exchange, by the jose package.
//
//   node exchange.mjs make FOLDER   writes jose.key and jose.tokens
//   node exchange.mjs read FOLDER   reads tarvex.key and tarvex.tokens
//
// A key file holds a public key as JWK, a token file one token a line; the claims of
// a token follow from its line number, by the same rule on both sides.
import assert from 'node:assert/strict';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { SignJWT, exportJWK, generateKeyPair, importJWK, jwtVerify, errors } from 'jose';

const header = { typ: 'JWT', alg: 'ES256' };

function claimsOf(line) {
  const claims = { sub: `Zoë ${line} 東京 \u{1F511} "\\/\n\u0001`, exp: 4000000000 + line };
  if (line % 3 !== 0) claims.scp = ['read', `write/${line}`, ''];
  if (line % 4 !== 0) claims.prvs = { docs: ['r', 'w'], 'ключ': [] };
  return claims;
}

// Our tokens are read with fractions of a second, and written without.
const withFraction = (claims, line) => ({ ...claims, exp: claims.exp + (line % 4) / 4 });

// At least this many, and on until r, and s, has begun with a zero byte.
const tokenCount = 1000;

class LeadingZeros {
  r = false;
  s = false;
  look(token) {
    const signature = Buffer.from(token.split('.')[2], 'base64url');
    this.r ||= signature[0] === 0;
    this.s ||= signature[32] === 0;
  }
  get complete() { return this.r && this.s; }
}

async function make(folder) {
  const { publicKey, privateKey } = await generateKeyPair('ES256');
  writeFileSync(join(folder, 'jose.key'), JSON.stringify(await exportJWK(publicKey)));
  const tokens = [];
  const zeros = new LeadingZeros();
  while (tokens.length < tokenCount || !zeros.complete) {
    const claims = withFraction(claimsOf(tokens.length), tokens.length);
    tokens.push(await new SignJWT(claims).setProtectedHeader(header).sign(privateKey));
    zeros.look(tokens.at(-1));
  }
  writeFileSync(join(folder, 'jose.tokens'), tokens.map((token) => `${token}\n`).join(''));
}

async function read(folder) {
  const file = (name) => readFileSync(join(folder, name), 'utf8');
  const key = await importJWK(JSON.parse(file('tarvex.key')), 'ES256');
  const tokens = file('tarvex.tokens').trimEnd().split('\n');
  const zeros = new LeadingZeros();
  for (const [line, token] of tokens.entries()) {
    zeros.look(token);
    const { payload, protectedHeader } = await jwtVerify(token, key);
    assert.deepEqual(payload, claimsOf(line));
    assert.deepEqual(protectedHeader, header);
    if (line % 100 === 0) {
      const changed = token.replace('.e', '.f');
      await assert.rejects(jwtVerify(changed, key), errors.JWSSignatureVerificationFailed);
    }
  }
  assert(tokens.length >= tokenCount && zeros.complete);
}

const [command, folder] = process.argv.slice(2);
await { make, read }[command](folder);
