// For `import`: Node cannot see the names of a native module's properties.

import echo from './index.js';

export const { asyncEcho, asyncEchoWithNotifications, syncEcho, echoNan } = echo;
export default echo;
