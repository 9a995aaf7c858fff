// Runs the generated plugin against a stand-in of the interface that it uses, and real hook processes.
// usage: node plugin.mjs PLUGIN PLUGIN_OF_A_MISSING_HOOK FOLDER_OF_THE_HOOK
import assert from "node:assert/strict"
import { ChildProcess } from "node:child_process"
import { closeSync, openSync, readFileSync } from "node:fs"
import { setTimeout as sleep } from "node:timers/promises"
import { pathToFileURL } from "node:url"

const [plugin, orphan, folder] = process.argv.slice(2)
const inFolder = (name) => readFileSync(`${folder}/${name}`, "utf8")
const timed = async (work) => {
  const start = performance.now()
  await work()
  return performance.now() - start
}
const failures = [() => { throw new Error() }, () => Promise.reject(new Error()), () => new Promise(() => {})]

// What the plugin registers with a server that has these chats, and the cards that it adds.
async function server(file, { chats = {}, session = {}, tool = {} } = {}) {
  const found = { cards: [], asked: 0, hooks: {} }
  const hook = (name, run) => (found.hooks[name] = run)
  const get = async ({ sessionID }) => (found.asked++, chats[sessionID])
  const synthetic = async (card) => found.cards.push(card)
  const { default: made } = await import(`${pathToFileURL(file)}?${Math.random()}`)
  await made.setup({ session: { hook, get, synthetic, ...session }, tool: { hook, ...tool }, location: { directory: "/w" } })
  found.prompt = (text, sessionID = "chat") => found.hooks.prompt({ sessionID, prompt: { text } })
  found.call = async (sessionID, input = {}, tool = "larkmoor_search") => {
    await found.hooks["execute.before"]({ tool, sessionID, input })
    return input && [input._larkmoor_session, input._larkmoor_subagent]
  }
  return found
}

const all = await server(plugin)
await all.prompt("normal", "s1")
assert.deepEqual(all.cards.pop(), { sessionID: "s1", text: "--harness opencode", description: "Larkmoor memory",
  metadata: { larkmoor: true }, delivery: "steer", resume: false })
assert.equal(inFolder("question"), '{"prompt":"normal","cwd":"/w","sessionID":"s1"}')
for (const event of [null, {}, { sessionID: "", prompt: { text: "normal" } }]) await all.hooks.prompt(event)
for (const nothing of ["deaf", "deaf" + "x".repeat(1e6), "silent", "flood"]) await all.prompt(nothing)
await (await server(orphan)).prompt("normal")
await all.prompt("split")
assert.deepEqual(all.cards.splice(0).map((each) => each.text), ["é😀"])

// Three seconds, and no process left; what a grandchild keeps open does not cost the answer.
const times = await Promise.all([timed(() => all.prompt("half")), timed(() => all.prompt("grandchild"))])
for (const time of times) assert.ok(time > 2900 && time < 4500, `${times}`)
process.kill(Number(inFolder("grandchild.pid")))
assert.deepEqual(all.cards.splice(0).map((each) => each.text), ["whole"])
await sleep(300)
assert.throws(() => process.kill(Number(inFolder("half.pid")), 0), { code: "ESRCH" })

// On a busy machine some of so many take too long, and have no card.
const many = Array.from({ length: 200 }, (_, index) => `many${index}`)
await Promise.all(many.map((text) => all.prompt(text, text)))
const texts = all.cards.map((each) => each.sessionID === each.text && each.text)
assert.ok(texts.length > 0 && new Set(texts).size === texts.length && texts.every((text) => text))

// With too few descriptors left no process starts, and none may be ended: its number would be any other's.
const { kill } = ChildProcess.prototype
ChildProcess.prototype.kill = function (signal) { return this.pid ? kill.call(this, signal) : process.exit(1) }
const descriptors = []
try {
  for (;;) descriptors.push(openSync("/dev/null"))
} catch {
  for (let left = 0; left < 12; left++, closeSync(descriptors.pop())) await all.prompt("deaf")
}
descriptors.forEach((each) => closeSync(each))

// Chains of parents: a subagent's subagent, one more than is followed, a circle, and chats that are not known.
const chats = { top: { id: "top" }, child: { id: "child", parentID: "top" }, deep: { id: "deep", parentID: "child" } }
for (let each = 0; each < 18; each++) chats[`c${each}`] = { id: `c${each}`, parentID: `c${each + 1}` }
for (const [from, to] of ["ab", "ba"]) chats[from] = { id: from, parentID: to }
chats.nameless = { parentID: "top" }
const tree = await server(plugin, { chats })
for (const round of [1, 2]) assert.deepEqual([await tree.call("deep"), tree.asked], [["top", "deep"], 3], `${round}`)
assert.deepEqual([await tree.call("top"), tree.asked], [["top", undefined], 3])
assert.deepEqual(await tree.call("c0"), ["c16", "c0"])
for (const own of ["a", "who", "who", "nameless"]) assert.deepEqual(await tree.call(own), [own, undefined])
assert.equal(tree.asked, 3 + 16 + 2 + 3)
assert.deepEqual(await tree.call("top", {}, "other_search"), [undefined, undefined])
for (const input of [null, "text", Object.freeze({})]) await tree.call("top", input)
for (const failing of failures) {
  const lost = await server(plugin, { session: { get: failing, synthetic: failing } })
  assert.deepEqual(await lost.call("deep"), ["deep", undefined])
  assert.ok((await timed(() => lost.prompt("normal"))) < 2500)
  // One registration that fails leaves the other.
  assert.deepEqual(Object.keys((await server(plugin, { session: { hook: failing } })).hooks), ["execute.before"])
  assert.deepEqual(Object.keys((await server(plugin, { tool: { hook: failing } })).hooks), ["prompt"])
}
console.log("held")
