// The npm packages' side of benchmark-token-peers.
//
//   node tokens.mjs KEY TOKENS   the private key as PEM, a token a line
//
// Answers each line of stdin, NAME MILLISECONDS, with the nanoseconds that one operation of
// that name takes, measured for so long.
import { createPrivateKey, createPublicKey } from 'node:crypto';
import { readFileSync } from 'node:fs';
import { createInterface } from 'node:readline';
import { createSigner, createVerifier } from 'fast-jwt';
import { SignJWT, jwtVerify } from 'jose';

const pem = readFileSync(process.argv[2], 'utf8');
const privateKey = createPrivateKey(pem);
const publicKey = createPublicKey(privateKey);
const tokens = readFileSync(process.argv[3], 'utf8').trim().split('\n');
const claims = JSON.parse(Buffer.from(tokens[0].split('.')[1], 'base64url'));

const verify = createVerifier({ key: publicKey.export({ type: 'spki', format: 'pem' }), cache: false });
const sign = createSigner({ key: pem, algorithm: 'ES256', noTimestamp: true });
const header = { typ: 'JWT', alg: 'ES256' };

const operations = {
  'jose.verify': (token) => jwtVerify(token, publicKey),
  'jose.sign': () => new SignJWT(claims).setProtectedHeader(header).sign(privateKey),
  'fast-jwt.verify': (token) => verify(token),
  'fast-jwt.sign': () => sign(claims),
};

async function measure(operation, milliseconds) {
  const start = process.hrtime.bigint();
  const end = start + BigInt(milliseconds) * 1000000n;
  let now = start;
  let count = 0;
  for (; now < end; now = process.hrtime.bigint()) {
    for (let i = 0; i < 8; ++i) await operation(tokens[count++ % tokens.length]);
  }
  return Number(now - start) / count;
}

for await (const line of createInterface({ input: process.stdin })) {
  const [name, milliseconds] = line.split(' ');
  console.log(await measure(operations[name], Number(milliseconds)));
}
