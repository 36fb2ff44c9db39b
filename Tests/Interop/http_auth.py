"""Who may use the CGI of the Axis front: everybody, or one user by Basic (RFC 7617) or Digest (RFC 2617)."""

import base64
import hashlib
import hmac
import re
import secrets
from dataclasses import dataclass, field

REALM = "AXIS_ACCC8E000001"


def md5(text: str) -> str:
    return hashlib.md5(text.encode("utf-8")).hexdigest()


@dataclass
class Gate:
    scheme: str = "none"
    user: str = ""
    password: str = ""
    nonce: str = field(default_factory=lambda: secrets.token_hex(16))

    def challenge(self) -> str:
        if self.scheme == "basic":
            return f'Basic realm="{REALM}"'
        return f'Digest realm="{REALM}", nonce="{self.nonce}", algorithm=MD5, qop="auth"'

    def admits(self, method: str, target: str, authorization: str) -> bool:
        if self.scheme == "none":
            return True
        scheme, _, rest = authorization.partition(" ")
        if self.scheme == "basic":
            expected = base64.b64encode(f"{self.user}:{self.password}".encode("utf-8")).decode("ascii")
            return scheme.lower() == "basic" and hmac.compare_digest(rest.strip(), expected)
        return scheme.lower() == "digest" and self._has_right_digest(method, target, rest)

    def _has_right_digest(self, method: str, target: str, text: str) -> bool:
        found = re.findall(r'(\w+)=(?:"([^"]*)"|([^\s,]*))', text)
        given = {name.lower(): quoted or bare for name, quoted, bare in found}
        if (given.get("username"), given.get("nonce"), given.get("uri")) != (self.user, self.nonce, target):
            return False
        who = md5(f"{self.user}:{REALM}:{self.password}")
        what = md5(f"{method}:{target}")
        count = [given.get("nc", ""), given.get("cnonce", ""), "auth"] if given.get("qop") == "auth" else []
        expected = md5(":".join([who, self.nonce, *count, what]))
        return hmac.compare_digest(given.get("response", ""), expected)
