// Compiles a Kaitai Struct description to a Python module: node compile_ksy.js MODULES KSY FOLDER
// MODULES is the node_modules folder that holds the compiler.
const fs = require("fs");
const path = require("path");

const [modules, description, folder] = process.argv.slice(2);
const compilerModule = require(path.resolve(modules, "kaitai-struct-compiler"));
const yaml = require(path.resolve(modules, "js-yaml"));

const compiler = typeof compilerModule === "function" ? new compilerModule() : compilerModule;
compiler
  .compile("python", yaml.load(fs.readFileSync(description, "utf8")), null, false)
  .then((files) => {
    for (const [name, text] of Object.entries(files)) fs.writeFileSync(path.join(folder, name), text);
  })
  .catch((error) => {
    console.error(`${description}: ${error.message ?? error}`);
    process.exitCode = 1;
  });
