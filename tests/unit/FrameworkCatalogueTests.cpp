#include "Managers/ProjectManager.h"
#include "Managers/ProjectOverrides.h"
#include "Models/FolderEntries.h"
#include "Utilities/CommandSuggestions.h"
#include "Utilities/FrameworkCatalogue.h"

#include "support/QtPrinters.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using TestSupport::writeFile;

namespace {

using Files = std::vector<std::pair<const char*, const char*>>;

// One project as its framework's own starter writes it, and what wisp makes of it.
struct Starter
{
    const char* name;
    Files files;
    ProjectType kind;
    const char* framework;
    // "{python}" stands for the interpreter the folder's Python projects run with.
    const char* command;
    int port;
    PortSource source;
};

void PrintTo(const Starter& starter, std::ostream* out)
{
    *out << starter.name;
}

std::optional<Project> scanOne(const QString& root, const QString& name)
{
    for (const Project& project : ProjectManager::scan(root)) {
        if (project.name == name) {
            return project;
        }
    }
    return std::nullopt;
}

const char* const nextPackage = R"({"name":"web","private":true,
  "scripts":{"dev":"next dev","build":"next build","start":"next start","lint":"next lint"},
  "dependencies":{"react":"^18","react-dom":"^18","next":"14.2.5"},
  "devDependencies":{"typescript":"^5","eslint":"^8","eslint-config-next":"14.2.5"}})";

class FrameworkStarters : public ::testing::TestWithParam<Starter>
{};

} // namespace

TEST_P(FrameworkStarters, GetTheirKindFrameworkCommandAndPort)
{
    const Starter& starter = GetParam();
    QTemporaryDir root;
    const QString folder = QDir(root.path()).filePath(QString::fromUtf8(starter.name));
    for (const auto& [path, contents] : starter.files) {
        writeFile(folder, QString::fromUtf8(path), contents);
    }

    const auto project = scanOne(root.path(), QString::fromUtf8(starter.name));
    ASSERT_TRUE(project) << "not found";
    EXPECT_EQ(project->type, starter.kind);
    EXPECT_EQ(project->framework, QString::fromUtf8(starter.framework));

    const auto entries = FolderEntries::read(folder, Qt::CaseSensitive);
    ASSERT_TRUE(entries);
    QString command = QString::fromUtf8(starter.command);
    command.replace(QStringLiteral("{python}"),
                    FrameworkCatalogue::pythonInterpreter(folder, *entries,
                                                          ProjectManager::commandSearchPath()));
    EXPECT_EQ(project->effectiveCommand(), command);
    EXPECT_EQ(project->port, starter.port);
    EXPECT_EQ(project->detectedPort, starter.port);
    EXPECT_EQ(project->portSource, starter.source);
}

INSTANTIATE_TEST_SUITE_P(
    Catalogue, FrameworkStarters,
    ::testing::Values(
        Starter{"next-app",
                {{"package.json", nextPackage},
                 {"package-lock.json", "{}"},
                 {"next.config.mjs", "/** @type {import('next').NextConfig} */\n"
                                     "const nextConfig = {};\nexport default nextConfig;\n"},
                 {"app/page.tsx", "export default function Home() { return <main/>; }\n"}},
                ProjectType::nodejs,
                "nextjs",
                "npm run dev",
                3000,
                PortSource::defaultValue},
        Starter{"nuxt-app",
                {{"package.json",
                  R"({"name":"nuxt-app","private":true,"type":"module",
                  "scripts":{"build":"nuxt build","dev":"nuxt dev","generate":"nuxt generate",
                  "preview":"nuxt preview","postinstall":"nuxt prepare"},
                  "dependencies":{"nuxt":"^3.13.0","vue":"latest","vue-router":"latest"}})"},
                 {"nuxt.config.ts", "export default defineNuxtConfig({\n  devtools: { enabled: "
                                    "true }\n})\n"},
                 {"app.vue", "<template><NuxtWelcome /></template>\n"}},
                ProjectType::nodejs,
                "nuxt",
                "npm run dev",
                3000,
                PortSource::defaultValue},
        Starter{"vite-project",
                {{"package.json",
                  R"({"name":"vite-project","private":true,"version":"0.0.0","type":"module",
                  "scripts":{"dev":"vite","build":"tsc -b && vite build","lint":"eslint .",
                  "preview":"vite preview"},
                  "dependencies":{"react":"^18.3.1","react-dom":"^18.3.1"},
                  "devDependencies":{"@vitejs/plugin-react":"^4.3.1","vite":"^5.4.1"}})"},
                 {"vite.config.ts", "import { defineConfig } from 'vite'\nimport react from "
                                    "'@vitejs/plugin-react'\n\nexport default defineConfig({\n"
                                    "  plugins: [react()],\n})\n"},
                 {"index.html", "<!doctype html>\n<div id=\"root\"></div>\n"}},
                ProjectType::nodejs,
                "vite",
                "npm run dev",
                5173,
                PortSource::defaultValue},
        Starter{"svelte-app",
                {{"package.json",
                  R"({"name":"svelte-app","version":"0.0.1","type":"module",
                  "scripts":{"dev":"vite dev","build":"vite build","preview":"vite preview"},
                  "devDependencies":{"@sveltejs/adapter-auto":"^3.0.0","@sveltejs/kit":"^2.0.0",
                  "svelte":"^4.2.7","vite":"^5.0.3"}})"},
                 {"svelte.config.js", "import adapter from '@sveltejs/adapter-auto';\n"},
                 {"pnpm-lock.yaml", "lockfileVersion: '9.0'\n"}},
                ProjectType::nodejs,
                "sveltekit",
                "pnpm run dev",
                5173,
                PortSource::defaultValue},
        Starter{"remix-app",
                {{"package.json",
                  R"({"name":"remix-app","private":true,"type":"module",
                  "scripts":{"build":"remix vite:build","dev":"remix vite:dev",
                  "start":"remix-serve ./build/server/index.js"},
                  "dependencies":{"@remix-run/node":"^2.11.0","@remix-run/react":"^2.11.0",
                  "react":"^18.2.0"},
                  "devDependencies":{"@remix-run/dev":"^2.11.0","vite":"^5.1.0"}})"},
                 {"vite.config.ts", "import { vitePlugin as remix } from \"@remix-run/dev\";\n"},
                 {"yarn.lock", "# yarn lockfile v1\n"}},
                ProjectType::nodejs,
                "remix",
                "yarn dev",
                5173,
                PortSource::defaultValue},
        Starter{"router-app",
                {{"package.json",
                  R"({"name":"router-app","private":true,"type":"module",
                  "scripts":{"build":"react-router build","dev":"react-router dev",
                  "start":"react-router-serve ./build/server/index.js"},
                  "dependencies":{"@react-router/node":"^7.0.0","react":"^18.3.1",
                  "react-router":"^7.0.0"},
                  "devDependencies":{"@react-router/dev":"^7.0.0","vite":"^5.4.11"}})"},
                 {"react-router.config.ts", "export default { ssr: true } satisfies Config;\n"},
                 {"bun.lockb", "binary"}},
                ProjectType::nodejs,
                "react-router",
                "bun run dev",
                5173,
                PortSource::defaultValue},
        Starter{"astro-site",
                {{"package.json",
                  R"({"name":"astro-site","type":"module","version":"0.0.1",
                  "scripts":{"dev":"astro dev","build":"astro build","preview":"astro preview",
                  "astro":"astro"},"dependencies":{"astro":"^4.15.4"}})"},
                 {"astro.config.mjs", "// @ts-check\nimport { defineConfig } from 'astro/config';"
                                      "\n\nexport default defineConfig({});\n"},
                 {"src/pages/index.astro", "---\n---\n<h1>Astro</h1>\n"}},
                ProjectType::nodejs,
                "astro",
                "npm run dev",
                4321,
                PortSource::framework},
        Starter{"angular-app",
                {{"package.json",
                  R"({"name":"angular-app","version":"0.0.0",
                  "scripts":{"ng":"ng","start":"ng serve","build":"ng build","test":"ng test"},
                  "dependencies":{"@angular/core":"^18.2.0","@angular/router":"^18.2.0"},
                  "devDependencies":{"@angular/cli":"^18.2.1","typescript":"~5.5.2"}})"},
                 {"angular.json",
                  R"({"version":1,"projects":{"angular-app":{"projectType":"application",
                  "architect":{"serve":{"builder":"@angular-devkit/build-angular:dev-server"}}}}})"}},
                ProjectType::nodejs,
                "angular",
                "npm run start",
                4200,
                PortSource::defaultValue},
        Starter{"vue-cli-app",
                {{"package.json",
                  R"({"name":"vue-cli-app","private":true,
                  "scripts":{"serve":"vue-cli-service serve","build":"vue-cli-service build"},
                  "dependencies":{"core-js":"^3.8.3","vue":"^3.2.13"},
                  "devDependencies":{"@vue/cli-service":"~5.0.0"}})"},
                 {"vue.config.js", "const { defineConfig } = require('@vue/cli-service')\n"
                                   "module.exports = defineConfig({\n  transpileDependencies: "
                                   "true\n})\n"}},
                ProjectType::nodejs,
                "vue-cli",
                "npm run serve",
                8080,
                PortSource::defaultValue},
        Starter{"cra-app",
                {{"package.json",
                  R"({"name":"cra-app","private":true,
                  "dependencies":{"react":"^18.3.1","react-dom":"^18.3.1",
                  "react-scripts":"5.0.1"},
                  "scripts":{"start":"react-scripts start","build":"react-scripts build",
                  "test":"react-scripts test","eject":"react-scripts eject"}})"},
                 {"public/index.html", "<!DOCTYPE html>\n<div id=\"root\"></div>\n"}},
                ProjectType::nodejs,
                "create-react-app",
                "npm run start",
                3000,
                PortSource::defaultValue},
        Starter{"gatsby-site",
                {{"package.json",
                  R"({"name":"gatsby-site","private":true,
                  "scripts":{"develop":"gatsby develop","start":"gatsby develop",
                  "build":"gatsby build","serve":"gatsby serve","clean":"gatsby clean"},
                  "dependencies":{"gatsby":"^5.13.7","react":"^18.2.0","react-dom":"^18.2.0"}})"},
                 {"gatsby-config.js", "module.exports = {\n  siteMetadata: {},\n  plugins: [],\n}"
                                      "\n"}},
                ProjectType::nodejs,
                "gatsby",
                "npm run develop",
                8000,
                PortSource::defaultValue},
        Starter{"docs-site",
                {{"package.json",
                  R"({"name":"docs-site","private":true,
                  "scripts":{"docusaurus":"docusaurus","start":"docusaurus start",
                  "build":"docusaurus build"},
                  "dependencies":{"@docusaurus/core":"3.5.2","@docusaurus/preset-classic":"3.5.2",
                  "react":"^18.0.0"}})"},
                 {"docusaurus.config.ts", "const config: Config = { title: 'My Site' };\n"}},
                ProjectType::nodejs,
                "docusaurus",
                "npm run start",
                3000,
                PortSource::defaultValue},
        Starter{"eleventy-site",
                {{"package.json",
                  R"({"name":"eleventy-site","version":"1.0.0","main":"index.js",
                  "scripts":{"test":"echo \"Error: no test specified\" && exit 1"},
                  "devDependencies":{"@11ty/eleventy":"^3.0.0"}})"},
                 {"eleventy.config.js", "export default function (eleventyConfig) {}\n"},
                 {"index.md", "# Heading\n"}},
                ProjectType::nodejs,
                "eleventy",
                "npx @11ty/eleventy --serve",
                8080,
                PortSource::framework},
        Starter{"vitepress-docs",
                {{"package.json",
                  R"({"devDependencies":{"vitepress":"^1.3.4"},
                  "scripts":{"docs:dev":"vitepress dev docs","docs:build":"vitepress build docs",
                  "docs:preview":"vitepress preview docs"}})"},
                 {"docs/.vitepress/config.mts", "export default defineConfig({ title: 'Docs' })\n"},
                 {"docs/index.md", "---\nlayout: home\n---\n"}},
                ProjectType::nodejs,
                "vitepress",
                "npm run docs:dev",
                5173,
                PortSource::framework},
        Starter{"ui-kit",
                {{"package.json",
                  R"({"name":"ui-kit","private":true,
                  "scripts":{"storybook":"storybook dev -p 6006",
                  "build-storybook":"storybook build"},
                  "devDependencies":{"@storybook/react-vite":"^8.2.9","storybook":"^8.2.9",
                  "vite":"^5.4.1"}})"},
                 {".storybook/main.ts", "const config: StorybookConfig = {};\n"}},
                ProjectType::nodejs,
                "storybook",
                "npm run storybook",
                6006,
                PortSource::packageJson},
        Starter{"nest-api",
                {{"package.json",
                  R"({"name":"nest-api","version":"0.0.1",
                  "scripts":{"build":"nest build","start":"nest start",
                  "start:dev":"nest start --watch","start:prod":"node dist/main"},
                  "dependencies":{"@nestjs/common":"^10.0.0","@nestjs/core":"^10.0.0"}})"},
                 {"nest-cli.json", R"({"collection":"@nestjs/schematics","sourceRoot":"src"})"},
                 {"src/main.ts", "async function bootstrap() {\n  const app = await "
                                 "NestFactory.create(AppModule);\n  await app.listen(process.env."
                                 "PORT ?? 3000);\n}\nbootstrap();\n"}},
                ProjectType::nodejs,
                "nestjs",
                "npm run start",
                3000,
                PortSource::framework},
        Starter{"express-generated",
                {{"package.json",
                  R"({"name":"express-generated","version":"0.0.0","private":true,
                  "scripts":{"start":"node ./bin/www"},
                  "dependencies":{"cookie-parser":"~1.4.4","express":"~4.16.1"}})"},
                 {"app.js", "var express = require('express');\nmodule.exports = app;\n"}},
                ProjectType::nodejs,
                "express",
                "npm run start",
                3000,
                PortSource::defaultValue},
        Starter{"express-hello",
                {{"package.json", R"({"name":"hello","dependencies":{"express":"^4.19.2"}})"},
                 {"index.js", "const express = require('express')\nconst app = express()\n"
                              "app.get('/', (req, res) => res.send('Hello World!'))\n"
                              "app.listen(4567, () => console.log('listening'))\n"}},
                ProjectType::nodejs,
                "express",
                "node .",
                4567,
                PortSource::entryFile},
        Starter{"mysite",
                {{"manage.py", "#!/usr/bin/env python\n\"\"\"Django's command-line utility for "
                               "administrative tasks.\"\"\"\n"},
                 {"mysite/settings.py", "INSTALLED_APPS = []\n"},
                 {"mysite/urls.py", "urlpatterns = []\n"}},
                ProjectType::python,
                "django",
                "{python} manage.py runserver",
                8000,
                PortSource::framework},
        Starter{"flask-app",
                {{"requirements.txt", "Flask==3.0.3\n"},
                 {"app.py", "from flask import Flask\n\napp = Flask(__name__)\n"}},
                ProjectType::python,
                "flask",
                "{python} -m flask run",
                5000,
                PortSource::framework},
        Starter{
            "flask-port",
            {{"pyproject.toml", "[project]\nname = \"flask-port\"\ndependencies = [\"flask\"]\n"},
             {"app.py", "from flask import Flask\napp = Flask(__name__)\n\nif __name__ == "
                        "\"__main__\":\n    app.run(debug=True, port=5001)\n"}},
            ProjectType::python,
            "flask",
            "{python} -m flask run",
            5001,
            PortSource::entryFile},
        Starter{"fastapi-app",
                {{"requirements.txt", "fastapi[standard]>=0.112\n"},
                 {"main.py", "from fastapi import FastAPI\n\napp = FastAPI()\n"}},
                ProjectType::python,
                "fastapi",
                "{python} -m uvicorn main:app --reload",
                8000,
                PortSource::framework},
        Starter{"pipenv-api",
                {{"Pipfile", "[packages]\nfastapi = \"*\"\n\n[requires]\npython_version = "
                             "\"3.12\"\n"},
                 {"main.py", "from fastapi import FastAPI\napp = FastAPI()\n"}},
                ProjectType::python,
                "fastapi",
                "{python} -m uvicorn main:app --reload",
                8000,
                PortSource::framework},
        Starter{"laravel-app",
                {{"composer.json", R"({"name":"laravel/laravel","type":"project",
                  "require":{"php":"^8.2","laravel/framework":"^11.9"}})"},
                 {"artisan", "#!/usr/bin/env php\n<?php\n"}},
                ProjectType::php,
                "laravel",
                "php artisan serve",
                8000,
                PortSource::framework},
        Starter{"symfony-app",
                {{"composer.json", R"({"type":"project","require":{"php":">=8.2",
                  "symfony/framework-bundle":"7.1.*","symfony/runtime":"7.1.*"}})"},
                 {"public/index.php", "<?php\n"}},
                ProjectType::php,
                "symfony",
                "php -S localhost:8000 -t public",
                8000,
                PortSource::framework},
        Starter{"rails-app",
                {{"Gemfile", "source \"https://rubygems.org\"\n\ngem \"rails\", \"~> 7.2.1\"\n"
                             "gem \"puma\", \">= 5.0\"\n"},
                 {"bin/rails", "#!/usr/bin/env ruby\n"},
                 {"config.ru", "require_relative \"config/environment\"\nrun Rails.application\n"}},
                ProjectType::ruby,
                "rails",
                "bin/rails server",
                3000,
                PortSource::framework},
        Starter{"rails-procfile",
                {{"Gemfile", "gem \"rails\", \"~> 7.2.1\"\n"},
                 {"bin/rails", "#!/usr/bin/env ruby\n"},
                 {"Procfile", "web: bin/rails server --port 5100\n"}},
                ProjectType::ruby,
                "rails",
                "bin/rails server",
                5100,
                PortSource::entryFile},
        Starter{"sinatra-app",
                {{"Gemfile", "source 'https://rubygems.org'\ngem 'sinatra'\ngem 'rackup'\n"},
                 {"app.rb", "require 'sinatra'\n\nget '/' do\n  'Hello world!'\nend\n"}},
                ProjectType::ruby,
                "sinatra",
                "bundle exec ruby app.rb",
                4567,
                PortSource::framework},
        Starter{"jekyll-gem",
                {{"Gemfile", "source \"https://rubygems.org\"\ngem \"jekyll\", \"~> 4.3.3\"\n"
                             "gem \"minima\", \"~> 2.5\"\ngroup :jekyll_plugins do\n  gem "
                             "\"jekyll-feed\", \"~> 0.12\"\nend\n"},
                 {"_config.yml", "title: Your awesome title\ntheme: minima\n"},
                 {"index.markdown", "---\nlayout: home\n---\n"}},
                ProjectType::ruby,
                "jekyll",
                "bundle exec jekyll serve",
                4000,
                PortSource::framework},
        Starter{"jekyll-blank",
                {{"_config.yml", "title: Blank\n"},
                 {"_layouts/default.html", "<html>{{ content }}</html>\n"},
                 {"_posts/.keep", ""},
                 {"index.md", "---\nlayout: default\n---\n# Hello\n"}},
                ProjectType::static_,
                "jekyll",
                "jekyll serve",
                4000,
                PortSource::framework},
        Starter{"hugo-site",
                {{"hugo.toml", "baseURL = 'https://example.org/'\nlanguageCode = 'en-us'\n"
                               "title = 'My New Hugo Site'\n"},
                 {"content/_index.md", "# Home\n"},
                 {"archetypes/default.md", "+++\ndraft = true\n+++\n"}},
                ProjectType::static_,
                "hugo",
                "hugo server",
                1313,
                PortSource::framework},
        Starter{"hugo-classic",
                {{"config.toml", "baseURL = 'https://example.org/'\n"},
                 {"content/posts/first.md", "# First\n"}},
                ProjectType::static_,
                "hugo",
                "hugo server",
                1313,
                PortSource::framework},
        Starter{"spring-maven",
                {{"pom.xml", "<project>\n  <parent>\n    <groupId>org.springframework.boot"
                             "</groupId>\n    <artifactId>spring-boot-starter-parent</artifactId>"
                             "\n  </parent>\n</project>\n"},
                 {"mvnw", "#!/bin/sh\n"},
                 {"src/main/resources/application.properties", "spring.application.name=demo\n"}},
                ProjectType::java,
                "spring-boot",
                "./mvnw spring-boot:run",
                8080,
                PortSource::framework},
        Starter{"spring-port",
                {{"pom.xml", "<groupId>org.springframework.boot</groupId>\n"},
                 {"src/main/resources/application.properties", "server.port=9090\n"}},
                ProjectType::java,
                "spring-boot",
                "mvn spring-boot:run",
                9090,
                PortSource::entryFile},
        Starter{"spring-gradle",
                {{"build.gradle", "plugins {\n  id 'java'\n  id 'org.springframework.boot' "
                                  "version '3.3.3'\n}\n"},
                 {"gradlew", "#!/bin/sh\n"},
                 {"src/main/resources/application.yml", "server:\n  port: 8081\n"}},
                ProjectType::java,
                "spring-boot",
                "./gradlew bootRun",
                8081,
                PortSource::entryFile},
        Starter{"go-server",
                {{"go.mod", "module example.com/hello\n\ngo 1.22\n"},
                 {"main.go", "package main\n\nimport (\n\t\"fmt\"\n\t\"net/http\"\n)\n\nfunc "
                             "main() {\n\thttp.ListenAndServe(\":8090\", nil)\n}\n"}},
                ProjectType::go,
                "go-http",
                "go run .",
                8090,
                PortSource::entryFile},
        Starter{
            "gin-server",
            {{"go.mod", "module example.com/gin\n\nrequire github.com/gin-gonic/gin v1.10.0\n"},
             {"main.go", "package main\n\nfunc main() {\n\tr := gin.Default()\n\tr.Run()\n}\n"}},
            ProjectType::go,
            "go-http",
            "go run .",
            8080,
            PortSource::framework},
        Starter{"axum-app",
                {{"Cargo.toml", "[package]\nname = \"axum-app\"\n\n[dependencies]\naxum = "
                                "\"0.7\"\ntokio = { version = \"1\", features = [\"full\"] }\n"},
                 {"src/main.rs", "let listener = tokio::net::TcpListener::bind(\"0.0.0.0:3000\")"
                                 ".await.unwrap();\n"}},
                ProjectType::rust,
                "axum",
                "cargo run",
                3000,
                PortSource::entryFile},
        Starter{"actix-app",
                {{"Cargo.toml", "[dependencies]\nactix-web = \"4\"\n"},
                 {"src/main.rs", "HttpServer::new(|| App::new())\n    .bind((\"127.0.0.1\", "
                                 "8080))?\n    .run()\n    .await\n"}},
                ProjectType::rust,
                "actix-web",
                "cargo run",
                8080,
                PortSource::entryFile},
        Starter{"rocket-app",
                {{"Cargo.toml", "[dependencies]\nrocket = \"0.5.1\"\n"},
                 {"src/main.rs", "#[launch]\nfn rocket() -> _ { rocket::build() }\n"}},
                ProjectType::rust,
                "rocket",
                "cargo run",
                8000,
                PortSource::framework}),
    [](const ::testing::TestParamInfo<Starter>& info) {
        return QString::fromUtf8(info.param.name).remove(u'-').toStdString();
    });

TEST(FrameworkCatalogue, EveryFrameworkHasACommandAndAPort)
{
    QSet<QString> ids;
    for (const FrameworkCatalogue::Entry& entry : FrameworkCatalogue::entries()) {
        EXPECT_FALSE(entry.commands.isEmpty()) << entry.id.toStdString();
        EXPECT_GE(entry.defaultPort, 1) << entry.id.toStdString();
        EXPECT_FALSE(entry.markers.isEmpty() && entry.dependencies.isEmpty())
            << entry.id.toStdString();
        ids.insert(entry.id);
    }
    for (const char* id :
         {"nextjs",   "nuxt",      "vite",        "sveltekit",        "remix",  "react-router",
          "astro",    "angular",   "vue-cli",     "create-react-app", "gatsby", "docusaurus",
          "eleventy", "vitepress", "storybook",   "express",          "nestjs", "django",
          "flask",    "fastapi",   "laravel",     "symfony",          "rails",  "sinatra",
          "jekyll",   "hugo",      "spring-boot", "go-http",          "axum",   "actix-web",
          "rocket"}) {
        EXPECT_TRUE(ids.contains(QString::fromUtf8(id))) << id;
    }
    EXPECT_EQ(FrameworkCatalogue::displayName(QStringLiteral("astro")), QStringLiteral("Astro"));
    EXPECT_EQ(FrameworkCatalogue::displayName(QStringLiteral("later")), QStringLiteral("later"));
}

TEST(FrameworkCatalogue, PortsWrittenInTheProjectStillWin)
{
    QTemporaryDir root;
    writeFile(root.path(), QStringLiteral("astro-site/package.json"),
              R"({"scripts":{"dev":"astro dev"},"dependencies":{"astro":"^4"}})");
    writeFile(root.path(), QStringLiteral("astro-site/.env"), "PORT=4400\n");
    writeFile(root.path(), QStringLiteral("flask-app/requirements.txt"), "flask\n");
    writeFile(root.path(), QStringLiteral("flask-app/.env"), "export PORT=5055\n");
    writeFile(root.path(), QStringLiteral("next-app/package.json"),
              R"({"scripts":{"dev":"next dev -p 3101"},"dependencies":{"next":"14"}})");

    const auto astro = scanOne(root.path(), QStringLiteral("astro-site"));
    ASSERT_TRUE(astro);
    EXPECT_EQ(astro->framework, QStringLiteral("astro"));
    EXPECT_EQ(astro->port, 4400);
    EXPECT_EQ(astro->portSource, PortSource::env);

    const auto flask = scanOne(root.path(), QStringLiteral("flask-app"));
    ASSERT_TRUE(flask);
    EXPECT_EQ(flask->port, 5055);
    EXPECT_EQ(flask->portSource, PortSource::env);

    const auto next = scanOne(root.path(), QStringLiteral("next-app"));
    ASSERT_TRUE(next);
    EXPECT_EQ(next->port, 3101);
    EXPECT_EQ(next->portSource, PortSource::packageJson);
}

TEST(FrameworkCatalogue, OverridesWinOverTheFramework)
{
    QTemporaryDir root;
    writeFile(root.path(), QStringLiteral("site/package.json"),
              R"({"scripts":{"dev":"astro dev"},"dependencies":{"astro":"^4"}})");
    writeFile(root.path(), QStringLiteral("site/pnpm-lock.yaml"), "lockfileVersion: '9.0'\n");
    const auto scanned = scanOne(root.path(), QStringLiteral("site"));
    ASSERT_TRUE(scanned);
    EXPECT_EQ(scanned->effectiveCommand(), QStringLiteral("pnpm run dev"));

    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    overrides.setCommand(scanned->folderPath(), QStringLiteral("pnpm astro dev --host"));
    overrides.setPort(scanned->folderPath(), 4999);
    const Project project = overrides.applied(*scanned);
    EXPECT_EQ(project.framework, QStringLiteral("astro"));
    EXPECT_EQ(project.effectiveCommand(), QStringLiteral("pnpm astro dev --host"));
    EXPECT_EQ(project.port, 4999);
    EXPECT_EQ(project.portSource, PortSource::manual);
}

TEST(FrameworkCatalogue, StorybookBesideAnAppLeavesTheAppsFramework)
{
    QTemporaryDir root;
    writeFile(root.path(), QStringLiteral("app/package.json"),
              R"({"scripts":{"dev":"vite","storybook":"storybook dev -p 6006"},
              "devDependencies":{"vite":"5","storybook":"8"}})");
    writeFile(root.path(), QStringLiteral("app/.storybook/main.ts"), "export default {};\n");
    const auto app = scanOne(root.path(), QStringLiteral("app"));
    ASSERT_TRUE(app);
    EXPECT_EQ(app->framework, QStringLiteral("vite"));
    EXPECT_EQ(app->effectiveCommand(), QStringLiteral("npm run dev"));
    EXPECT_EQ(app->port, 5173);
}

TEST(FrameworkCatalogue, UnknownFrameworksKeepTheKindsCommand)
{
    QTemporaryDir root;
    writeFile(root.path(), QStringLiteral("tool/package.json"), R"({"scripts":{"dev":"node x"}})");
    writeFile(root.path(), QStringLiteral("scripts/requirements.txt"), "requests\n");
    const auto tool = scanOne(root.path(), QStringLiteral("tool"));
    ASSERT_TRUE(tool);
    EXPECT_EQ(tool->framework, std::nullopt);
    EXPECT_EQ(tool->frameworkCommand, std::nullopt);
    EXPECT_EQ(tool->effectiveCommand(), QStringLiteral("npm run dev"));
    const auto scripts = scanOne(root.path(), QStringLiteral("scripts"));
    ASSERT_TRUE(scripts);
    EXPECT_EQ(scripts->framework, std::nullopt);
    EXPECT_EQ(scripts->effectiveCommand(), QStringLiteral("python -m http.server 3000"));
    EXPECT_EQ(scripts->port, 3000);
}

// The interpreter Python frameworks start with.
class PythonCommand : public ::testing::Test
{
protected:
    void SetUp() override
    {
        writeFile(project.path(), QStringLiteral("manage.py"), "#!/usr/bin/env python\n");
        writeFile(project.path(), QStringLiteral("requirements.txt"), "Django>=5.0\n");
    }

    QString command(const QStringList& searchPath) const
    {
        const auto entries = FolderEntries::read(project.path(), Qt::CaseSensitive);
        const auto match =
            FrameworkCatalogue::detect(project.path(), *entries, ProjectType::python, searchPath);
        return match ? match->command : QString();
    }

    void makeExecutable(const QString& root, const QString& path)
    {
        writeFile(root, path, "#!/bin/sh\n");
        QFile::setPermissions(QDir(root).filePath(path),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    QTemporaryDir project;
    QTemporaryDir tools;
};

TEST_F(PythonCommand, WithoutPythonOnThePathItIsPython3)
{
    writeFile(tools.path(), QStringLiteral("python3"), "");
    EXPECT_EQ(command({tools.path()}), QStringLiteral("python3 manage.py runserver"));
}

TEST_F(PythonCommand, WithPythonOnThePathItIsPython)
{
    makeExecutable(tools.path(), QStringLiteral("python"));
    EXPECT_EQ(command({QStringLiteral("/nonexistent-wisp-folder"), tools.path()}),
              QStringLiteral("python manage.py runserver"));
}

TEST_F(PythonCommand, AVirtualEnvironmentsPythonComesFirst)
{
    makeExecutable(tools.path(), QStringLiteral("python"));
    makeExecutable(project.path(), QStringLiteral("venv/bin/python"));
    EXPECT_EQ(command({tools.path()}), QStringLiteral("venv/bin/python manage.py runserver"));
    makeExecutable(project.path(), QStringLiteral(".venv/bin/python"));
    EXPECT_EQ(command({tools.path()}), QStringLiteral(".venv/bin/python manage.py runserver"));
}

TEST(ProjectFrameworkJson, AProjectWithoutAFrameworkEncodesAsBefore)
{
    Project project;
    project.id = QUuid::fromString(QStringLiteral("{6F9619FF-8B86-D011-B42D-00C04FC964FF}"));
    project.name = QStringLiteral("shop");
    project.path = QUrl::fromLocalFile(QStringLiteral("/work/shop"));
    project.type = ProjectType::nodejs;
    project.port = 5174;
    project.detectedPort = 5174;
    project.portSource = PortSource::packageJson;
    project.relativePath = QStringLiteral("shop");
    EXPECT_EQ(project.toJson(),
              QByteArray(R"({"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","name":"shop",)"
                         R"("path":"file:///work/shop","type":"nodejs","port":5174,)"
                         R"("detectedPort":5174,"portSource":"packageJson","subprojects":[],)"
                         R"("relativePath":"shop"})"));
}

TEST(ProjectFrameworkJson, TheFrameworkRoundTrips)
{
    Project project;
    project.id = QUuid::createUuid();
    project.name = QStringLiteral("site");
    project.path = QUrl::fromLocalFile(QStringLiteral("/work/site"));
    project.type = ProjectType::static_;
    project.port = 1313;
    project.framework = QStringLiteral("hugo");
    project.frameworkCommand = QStringLiteral("hugo server");
    const QByteArray json = project.toJson();
    EXPECT_TRUE(json.endsWith(R"("framework":"hugo","frameworkCommand":"hugo server"})"));
    const auto decoded = Project::fromJson(json);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, project);
    EXPECT_EQ(decoded->effectiveCommand(), QStringLiteral("hugo server"));

    Project other = project;
    other.framework = std::nullopt;
    EXPECT_NE(other, project);

    QString error;
    EXPECT_FALSE(Project::fromJson(
        QByteArray(json).replace(R"("framework":"hugo")", R"("framework":7)"), &error));
    EXPECT_EQ(error, QStringLiteral("\"framework\" is not a string"));
}

TEST(FrameworkCatalogue, SuggestionsOfferEveryScriptAndEveryFrameworksCommand)
{
    QTemporaryDir root;
    writeFile(root.path(), QStringLiteral("package.json"),
              R"({"scripts":{"dev":"next dev","storybook":"storybook dev -p 6006","lint":"x"},
              "dependencies":{"next":"14"},"devDependencies":{"storybook":"8"}})");
    writeFile(root.path(), QStringLiteral("yarn.lock"), "# yarn lockfile v1\n");
    writeFile(root.path(), QStringLiteral(".storybook/main.ts"), "export default {};\n");
    writeFile(root.path(), QStringLiteral("manage.py"), "");
    EXPECT_EQ(CommandSuggestions::forProject(root.path(), Qt::CaseSensitive, {}),
              (QStringList{QStringLiteral("yarn dev"), QStringLiteral("yarn storybook"),
                           QStringLiteral("yarn lint"), QStringLiteral("npx next dev"),
                           QStringLiteral("npx storybook dev -p 6006"),
                           QStringLiteral("python3 manage.py runserver")}));
}
